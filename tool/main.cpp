#include "common/interrupt.h"
#include "tool/commands/app.h"

int main(int argc, char** argv) {
    talvor::watch_interrupts();
    talvor::Context context;
    return talvor::run_program(context, std::vector<std::string>(argv + 1, argv + argc));
}
