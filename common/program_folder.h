// Where this program lies: its companions, the driver and the simulated pod, are looked for from
// there.
#pragma once

#include <filesystem>

namespace talvor {

// The folder that was chosen, else that of the program that this process runs; empty when it cannot
// be told.
[[nodiscard]] std::filesystem::path program_folder();
// For code that runs in a foreign program, as a module does in an interpreter: the folder where its
// own programs are, or would be. Before anything asks.
void choose_program_folder(std::filesystem::path folder);

} // namespace talvor
