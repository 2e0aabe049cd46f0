#include "podsim/proxy/semaphore.h"

#include "common/result.h"
#include "shm_structs.h"

#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <utility>

namespace talvor::podsim::proxy {
namespace {

// Where the C library keeps a named semaphore.
std::string path_of(const std::string& name) {
    return "/dev/shm/sem." + name.substr(name.find_first_not_of('/'));
}

} // namespace

Result<Semaphore> Semaphore::create(const std::string& name, unsigned value) {
    sem_t* semaphore = sem_open(name.c_str(), O_CREAT | O_EXCL, SHM_OBJECT_MODE, value);
    if (semaphore == SEM_FAILED) {
        return system_failure("making semaphore " + name);
    }
    Semaphore made(name, semaphore);
    if (chmod(path_of(name).c_str(), SHM_OBJECT_MODE) != 0) {
        return system_failure("opening semaphore " + name + " to every user");
    }
    return made;
}

Result<Semaphore> Semaphore::adopt(const std::string& name) {
    struct stat file {};
    const std::string path = path_of(name);
    if (stat(path.c_str(), &file) != 0 || file.st_size < static_cast<off_t>(sizeof(sem_t))) {
        sem_unlink(name.c_str()); // no semaphore: the C library would map past its end
        return create(name, 0);
    }
    sem_t* semaphore = sem_open(name.c_str(), 0);
    if (semaphore == SEM_FAILED) {
        return system_failure("opening semaphore " + name);
    }
    Semaphore found(name, semaphore);
    chmod(path.c_str(), SHM_OBJECT_MODE); // best effort: it may be another user's
    while (found.try_take()) {
    }
    return found;
}

Semaphore::Semaphore(Semaphore&& other) noexcept
    : name_(std::move(other.name_)), semaphore_(std::exchange(other.semaphore_, nullptr)) {}

Semaphore::~Semaphore() {
    if (semaphore_ != nullptr) {
        remove_name();
        sem_close(semaphore_);
    }
}

void Semaphore::remove_name() {
    if (!name_.empty()) {
        sem_unlink(name_.c_str());
        name_.clear();
    }
}

void Semaphore::take() {
    while (sem_wait(semaphore_) != 0 && errno == EINTR) {
    }
}

bool Semaphore::take_within(std::chrono::microseconds limit) {
    timespec deadline{};
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    const auto nanoseconds =
        std::chrono::duration_cast<std::chrono::nanoseconds>(limit).count() + deadline.tv_nsec;
    constexpr long kSecond = 1'000'000'000;
    deadline.tv_sec += nanoseconds / kSecond;
    deadline.tv_nsec = nanoseconds % kSecond;
    int result = 0;
    do {
        result = sem_clockwait(semaphore_, CLOCK_MONOTONIC, &deadline);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

int Semaphore::posts() const {
    int value = 0;
    sem_getvalue(semaphore_, &value);
    return value;
}

} // namespace talvor::podsim::proxy
