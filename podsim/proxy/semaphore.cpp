#include "podsim/proxy/semaphore.h"

#include "common/result.h"
#include "common/system_calls.h"
#include "podsim/proxy/shm_error.h"
#include "shm_structs.h"

#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <utility>

namespace talvor::podsim::proxy {
namespace {

// Whether a file holds a semaphore with memory behind it. The C library maps anything, past its end
// and over holes too.
bool holds_semaphore(const std::string& path) {
    struct stat file {};
    return system_calls.stat(path.c_str(), &file) == 0 && file.st_blocks > 0 &&
           file.st_size >= static_cast<off_t>(sizeof(sem_t));
}

sem_t* open_semaphore(const std::string& name, int flags, unsigned value) {
    sem_t* semaphore = SEM_FAILED;
    do {
        semaphore = system_calls.sem_open(name.c_str(), flags, SHM_OBJECT_MODE, value);
    } while (semaphore == SEM_FAILED && errno == EINTR);
    return semaphore;
}

} // namespace

Result<Semaphore> Semaphore::create(const std::string& name, unsigned value) {
    const std::string path = semaphore_path(name);
    // First, so that nothing which can fail for want of memory comes between name and owner.
    Semaphore made(name, nullptr);
    sem_t* semaphore = open_semaphore(name, O_CREAT | O_EXCL, value);
    if (semaphore == SEM_FAILED) {
        // Where memory runs out late, the C library leaves the name that it has made.
        const int error = errno;
        if (error != EEXIST) {
            system_calls.sem_unlink(name.c_str());
        }
        errno = error;
        return shm_failure("making semaphore " + name, path, sizeof(sem_t));
    }
    made.semaphore_ = semaphore;
    if (system_calls.chmod(path.c_str(), SHM_OBJECT_MODE) != 0) {
        return shm_failure("opening semaphore " + name + " to every user", path);
    }
    return made;
}

Result<Semaphore> Semaphore::adopt(const std::string& name) {
    const std::string path = semaphore_path(name);
    if (!holds_semaphore(path)) {
        system_calls.sem_unlink(name.c_str());
        return create(name, 0);
    }
    Semaphore found(name, nullptr);
    sem_t* semaphore = open_semaphore(name, 0, 0);
    if (semaphore == SEM_FAILED) {
        return shm_failure("opening semaphore " + name, path);
    }
    found.semaphore_ = semaphore;
    system_calls.chmod(path.c_str(), SHM_OBJECT_MODE); // best effort: it may be another user's
    while (found.try_take()) {
    }
    return found;
}

Semaphore::Semaphore(Semaphore&& other) noexcept
    : name_(std::move(other.name_)), semaphore_(std::exchange(other.semaphore_, nullptr)) {}

Semaphore::~Semaphore() {
    if (semaphore_ != nullptr) {
        remove_name();
        system_calls.sem_close(semaphore_);
    }
}

void Semaphore::remove_name() {
    if (!name_.empty()) {
        system_calls.sem_unlink(name_.c_str());
        name_.clear();
    }
}

void Semaphore::take() {
    past_interrupts([this] { return system_calls.sem_wait(semaphore_); });
}

bool Semaphore::take_within(std::chrono::microseconds limit) {
    timespec deadline{};
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    const auto nanoseconds =
        std::chrono::duration_cast<std::chrono::nanoseconds>(limit).count() + deadline.tv_nsec;
    constexpr long kSecond = 1'000'000'000;
    deadline.tv_sec += nanoseconds / kSecond;
    deadline.tv_nsec = nanoseconds % kSecond;
    return past_interrupts([&] {
               return system_calls.sem_clockwait(semaphore_, CLOCK_MONOTONIC, &deadline);
           }) == 0;
}

int Semaphore::posts() const {
    int value = 0;
    sem_getvalue(semaphore_, &value);
    return value;
}

} // namespace talvor::podsim::proxy
