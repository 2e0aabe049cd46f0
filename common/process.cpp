#include "common/process.h"

#include <fmt/format.h>

#include <algorithm>
#include <ctime>
#include <fstream>
#include <iterator>
#include <sstream>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace talvor {
namespace {

using std::chrono::system_clock;

constexpr size_t kMostCommandBytes = 80;

std::string proc_file(pid_t process, const char* name) {
    return fmt::format("/proc/{}/{}", process, name);
}

std::tm local_time(system_clock::time_point time) {
    const std::time_t seconds = system_clock::to_time_t(time);
    std::tm parts{};
    localtime_r(&seconds, &parts);
    return parts;
}

} // namespace

std::string command_text(std::string_view arguments) {
    std::string_view program = arguments.substr(0, arguments.find('\0'));
    arguments.remove_prefix(program.size());
    program.remove_prefix(program.rfind('/') + 1); // npos + 1 is 0
    while (arguments.ends_with('\0')) {
        arguments.remove_suffix(1);
    }
    std::string text = std::string(program).append(arguments);
    for (char& letter : text) {
        const bool printable = letter >= ' ' && letter <= '~';
        letter = printable ? letter : letter == '\0' ? ' ' : '?';
    }
    if (text.size() > kMostCommandBytes) {
        text.replace(kMostCommandBytes - 3, std::string::npos, "...");
    }
    return text;
}

std::string process_command(pid_t process) {
    std::ifstream file(proc_file(process, "cmdline"), std::ios::binary);
    std::string arguments(kMostCommandBytes * 64, '\0');
    file.read(arguments.data(), static_cast<std::streamsize>(arguments.size()));
    arguments.resize(static_cast<size_t>(file.gcount()));
    return command_text(arguments);
}

std::optional<system_clock::time_point> process_start(pid_t process) {
    constexpr int kFieldsBeforeStart = 19; // behind the name, which may hold blanks and brackets
    std::ifstream file(proc_file(process, "stat"));
    std::string text{std::istreambuf_iterator<char>(file), {}};
    std::istringstream fields(text.substr(std::min(text.size(), text.rfind(')') + 1)));
    std::string passed_over;
    for (int field = 0; field < kFieldsBeforeStart; ++field) {
        fields >> passed_over;
    }
    int64_t ticks = 0;
    timespec now{};
    if (!(fields >> ticks) || clock_gettime(CLOCK_BOOTTIME, &now) != 0) {
        return std::nullopt;
    }
    const auto uptime = std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
    const auto at_start = std::chrono::milliseconds(ticks * 1000 / sysconf(_SC_CLK_TCK));
    return system_clock::now() - (uptime - at_start);
}

std::optional<pid_t> flock_holder(int file) {
    struct stat facts {};
    std::ifstream locks("/proc/locks");
    if (fstat(file, &facts) != 0) {
        return std::nullopt;
    }
    return flock_holder(locks, facts.st_dev, facts.st_ino);
}

std::optional<pid_t> flock_holder(std::istream& locks, dev_t device, ino_t inode) {
    const std::string place =
        fmt::format("{:02x}:{:02x}:{}", gnu_dev_major(device), gnu_dev_minor(device), inode);
    // "1: FLOCK  ADVISORY  WRITE 4242 00:1b:77 0 EOF"; who waits has "->" behind the number.
    for (std::string line; std::getline(locks, line);) {
        std::istringstream words(line);
        std::string number;
        std::string kind;
        std::string force;
        std::string access;
        std::string where;
        pid_t process = 0;
        if (words >> number >> kind >> force >> access >> process >> where && kind == "FLOCK" &&
            access == "WRITE" && where == place && process > 0) {
            return process;
        }
    }
    return std::nullopt;
}

std::string time_of_day_text(system_clock::time_point time, system_clock::time_point now) {
    const std::tm then = local_time(time);
    const std::tm today = local_time(now);
    const bool same_day = then.tm_year == today.tm_year && then.tm_yday == today.tm_yday;
    const std::string clock =
        fmt::format("{:02}:{:02}:{:02}", then.tm_hour, then.tm_min, then.tm_sec);
    return same_day ? clock
                    : fmt::format("{}-{:02}-{:02} {}", then.tm_year + 1900, then.tm_mon + 1,
                                  then.tm_mday, clock);
}

} // namespace talvor
