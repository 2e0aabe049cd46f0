// A host without a driver: attaches to a pod and makes exchanges, as the channel's rules say.
#pragma once

#include "shm_structs.h"

#include <cstdint>
#include <semaphore.h>
#include <string>
#include <sys/types.h>
#include <vector>

namespace talvor::podsim::proxy {

// A private copy of the device table; max_instances is 0 when there is none.
gbl_shm read_table();

// Posts that a named semaphore holds; -1 when there is no such semaphore.
int posts_of(const std::string& name);

// Names of everything in /dev/shm, sorted.
std::vector<std::string> shm_objects();

inline constexpr const char* kTablePath = "/dev/shm/talvor_proxy_gbl_shm_object";

// Size of a file in bytes. One that is not there fails the test.
off_t size_of(const std::string& path);

class Host {
public:
    // Opens the objects of the pod with this serial number. A missing object fails the test.
    explicit Host(uint32_t serial);
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;
    ~Host();

    lcl_shm& block() { return *block_; }
    void post_start() { sem_post(start_); }
    // Waits for an answer; false after ten seconds.
    bool take_complete();
    // One exchange; the status, or INT32_MIN when no answer came.
    int32_t exchange(uint32_t command);
    // Queues the words of a text in the batch notation; reads are counted.
    void queue(const char* lines);

private:
    lcl_shm* block_ = nullptr;
    sem_t* start_ = nullptr;
    sem_t* complete_ = nullptr;
};

} // namespace talvor::podsim::proxy
