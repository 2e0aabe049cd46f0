// The command line.
#pragma once

#include "common/command_description.h"
#include "podsim/station/options.h"

#include <string>
#include <sys/types.h>
#include <vector>

namespace talvor::podsim {

// What the command line asks for.
struct Options {
    enum class Action {
        Serve,  // run the simulator
        Ask,    // send a command to a running one
        Print,  // print a built-in description
        Finish, // everything is said already: exit with `status`
    };
    Action action = Action::Finish;
    int status = 0;

    // Serve.
    std::string description; // file; empty: the built-in one
    std::string script;      // file; empty: none
    std::string control;     // socket; empty: none (Ask: the socket to ask at)
    std::string log_file;    // empty: the standard error stream
    std::string ready_file;  // empty: none
    int ready_fd = -1;       // -1: none
    pid_t parent = 0;        // end with this process, the parent; 0: with none
    StationOptions station;
    bool is_private = false;
    std::vector<std::string> command; // with is_private: what to run

    // Print.
    std::string built_in; // its name

    // Ask.
    std::string question;
};

// Parses the command line. Prints help, version and errors itself. Exit status 2 stands for a
// command line that is wrong.
Options parse_command_line(int argc, char** argv);

// The command line as data, with the words that its values may have.
[[nodiscard]] CommandDescription describe_command_line();

// Environment variable with the control socket for `ctl` and for a command run by --private.
inline constexpr const char* kControlVariable = "TALVOR_PODSIM_CONTROL";

} // namespace talvor::podsim
