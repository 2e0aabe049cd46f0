#include "common/guarded_main.h"
#include "common/interrupt.h"
#include "common/time_slice.h"
#include "tool/commands/app.h"
#include "tool/output/standard_streams.h"

namespace {

int run(int argc, char** argv) {
    talvor::secure_standard_streams();
    talvor::watch_interrupts();
    talvor::shorten_time_slice(); // a busy machine would keep every exchange waiting
    talvor::Context context;
    return talvor::run_program(context, std::vector<std::string>(argv + 1, argv + argc));
}

} // namespace

int main(int argc, char** argv) {
    return talvor::run_guarded(run, argc, argv);
}
