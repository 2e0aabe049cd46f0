// What can be fuzzed. Each target takes any bytes, gives them to the code that reads such bytes
// from outside, and ends the process when something does not hold (fuzz/base/check.h). It leaves
// nothing behind: the next input finds what the first one found.
//
// The fuzzer runs a target as a program of its own (fuzz/fuzzer.cpp), and the tests replay the
// files of fuzz/corpus/NAME through the same function (tests/fuzz).
#pragma once

#include "fuzz/base/input.h"

#include <array>
#include <string_view>

namespace talvor::fuzz {

void run_batch(Bytes input);         // batches for a simulated pod
void run_bitbang(Bytes input);       // answers of an external target
void run_bsdl(Bytes input);          // a BSDL file
void run_configuration(Bytes input); // the keys of a board, as a host's table gives them
void run_control(Bytes input);       // requests to the control socket, and a script
void run_hostile(Bytes input);       // a proxy that leaves anything in shared memory
void run_netlist(Bytes input);       // a netlist of a board
void run_serve(Bytes input);         // what clients of a served pod send
void run_stapl(Bytes input);         // a STAPL file
void run_svf(Bytes input);           // an SVF file
void run_toml(Bytes input);          // a description of pods, and a board
void run_vcd(Bytes input);           // a value change dump

struct Target {
    std::string_view name; // of its corpus and its program
    void (*run)(Bytes input);
};

inline constexpr std::array kTargets{
    Target{"batch", run_batch},     Target{"bitbang", run_bitbang},
    Target{"bsdl", run_bsdl},       Target{"configuration", run_configuration},
    Target{"control", run_control}, Target{"hostile", run_hostile},
    Target{"netlist", run_netlist}, Target{"serve", run_serve},
    Target{"stapl", run_stapl},     Target{"svf", run_svf},
    Target{"toml", run_toml},       Target{"vcd", run_vcd},
};

} // namespace talvor::fuzz
