// The commands of the program; each of the files beside this one adds one.
#pragma once

#include "tool/command_line/command_line.h"

#include <memory>
#include <string>
#include <vector>

namespace talvor {

// Options of a command live as long as its action, which holds them.
template <typename T>
std::shared_ptr<T> command_options() {
    return std::make_shared<T>();
}

// The options that only matter to who connects a pod, and `more`; see Command::makes_no_use_of().
[[nodiscard]] std::vector<std::string> pod_options(std::vector<std::string> more = {});

void add_info(Command& program);
void add_chain(Command& program);
void add_ir(Command& program);
void add_dr(Command& program);
void add_state(Command& program);
void add_reset(Command& program);
void add_status(Command& program);
void add_link(Command& program);
void add_reg(Command& program);
void add_tclk(Command& program);
void add_shmoo(Command& program);
void add_play(Command& program); // play, svf, xsvf, stapl
void add_convert(Command& program);
void add_bsdl(Command& program);
void add_trace(Command& program);
void add_record(Command& program);
void add_serve(Command& program);
void add_bench(Command& program);
void add_doctor(Command& program);
void add_init(Command& program);
void add_interconnect(Command& program);
void add_pins(Command& program);
void add_completion(Command& program);
void add_run(Command& program);
void add_shell(Command& program);

} // namespace talvor
