# The libraries of simulator, host library and tool; the driver needs none of them.
find_package(Threads REQUIRED)
find_package(CLI11 REQUIRED)
find_package(fmt REQUIRED)
find_package(nlohmann_json REQUIRED)
find_package(tl-expected REQUIRED)
find_package(tomlplusplus REQUIRED)
