#include "host.h"

#include "common/notation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <limits>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace talvor::podsim::proxy {
namespace {

// A serial number as it stands in the names of a pod's objects.
std::string digits_of(uint32_t serial) {
    const std::string digits = std::to_string(serial);
    return std::string(digits.size() < 6 ? 6 - digits.size() : 0, '0') + digits;
}

} // namespace

gbl_shm read_table() {
    gbl_shm table{};
    const int fd = shm_open(SHM_DEVICE_TABLE_NAME, O_RDONLY, 0);
    if (fd >= 0) {
        EXPECT_EQ(pread(fd, &table, sizeof(table), 0), static_cast<ssize_t>(sizeof(table)));
        close(fd);
    }
    return table;
}

int posts_of(const std::string& name) {
    sem_t* semaphore = sem_open(name.c_str(), 0);
    if (semaphore == SEM_FAILED) {
        return -1;
    }
    int posts = -1;
    sem_getvalue(semaphore, &posts);
    sem_close(semaphore);
    return posts;
}

std::vector<std::string> shm_objects() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator("/dev/shm")) {
        names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
}

off_t size_of(const std::string& path) {
    struct stat file {};
    EXPECT_EQ(stat(path.c_str(), &file), 0) << path;
    return file.st_size;
}

Host::Host(uint32_t serial) {
    const int fd = shm_open(("/talvor_lcl_shm_" + digits_of(serial)).c_str(), O_RDWR, 0);
    EXPECT_GE(fd, 0);
    block_ = static_cast<lcl_shm*>(
        mmap(nullptr, sizeof(lcl_shm), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0));
    EXPECT_NE(block_, MAP_FAILED);
    close(fd);
    start_ = sem_open(("talvor_lcl_s_s_" + digits_of(serial)).c_str(), 0);
    complete_ = sem_open(("talvor_lcl_s_c_" + digits_of(serial)).c_str(), 0);
    EXPECT_NE(start_, SEM_FAILED);
    EXPECT_NE(complete_, SEM_FAILED);
}

Host::~Host() {
    munmap(block_, sizeof(lcl_shm));
    sem_close(start_);
    sem_close(complete_);
}

bool Host::take_complete() {
    timespec deadline{};
    clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_sec += 10;
    return sem_timedwait(complete_, &deadline) == 0;
}

int32_t Host::exchange(uint32_t command) {
    block_->cmd = command;
    block_->status = std::numeric_limits<int32_t>::min();
    post_start();
    return take_complete() ? block_->status : std::numeric_limits<int32_t>::min();
}

void Host::queue(const char* lines) {
    const auto words = notation::parse(lines);
    EXPECT_TRUE(words) << lines;
    for (const notation::Item& item : notation::items(words.value_or(std::vector<uint16_t>{}))) {
        if (item.kind == notation::Kind::Read) {
            ++block_->rdCntrGbl;
            ++block_->rdCntrLcl;
        }
    }
    for (const uint16_t word : words.value_or(std::vector<uint16_t>{})) {
        block_->tbcOMblock[block_->tbcMblockPtr++] = word;
    }
}

} // namespace talvor::podsim::proxy
