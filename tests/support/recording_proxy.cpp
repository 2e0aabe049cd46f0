#include "support/recording_proxy.h"

#include "common/notation.h"
#include "support/empty_batch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <deque>
#include <fcntl.h>
#include <mutex>
#include <span>
#include <stdexcept>
#include <sys/mman.h>
#include <thread>
#include <unistd.h>

namespace test_support {
namespace {

namespace notation = talvor::notation;
using notation::Kind;

constexpr size_t kStatusReads = 3;

uint16_t reversed(uint16_t word) {
    unsigned result = 0;
    for (unsigned bit = 0; bit < 16; ++bit) {
        result |= ((word >> bit) & 1U) << (15 - bit);
    }
    return static_cast<uint16_t>(result);
}

void require(bool condition, const std::string& what) {
    if (!condition) {
        throw std::runtime_error(what + ": " + std::strerror(errno));
    }
}

// A shared-memory object made here and removed here.
class SharedObject {
public:
    SharedObject(std::string name, size_t mapped_size, off_t size)
        : name_(std::move(name)), mapped_size_(mapped_size) {
        fd_ = shm_open(name_.c_str(), O_CREAT | O_EXCL | O_RDWR, SHM_OBJECT_MODE);
        require(fd_ >= 0 && fchmod(fd_, SHM_OBJECT_MODE) == 0 && ftruncate(fd_, size) == 0, name_);
        // Mapped whole even when it is too short: what lies past its end is never touched.
        memory_ = mmap(nullptr, mapped_size_, PROT_READ | PROT_WRITE, MAP_SHARED, fd_, 0);
        require(memory_ != MAP_FAILED, name_);
    }
    SharedObject(const SharedObject&) = delete;
    SharedObject& operator=(const SharedObject&) = delete;
    ~SharedObject() {
        munmap(memory_, mapped_size_);
        close(fd_);
        shm_unlink(name_.c_str());
    }
    void* memory() const { return memory_; }
    void resize(off_t size) { require(ftruncate(fd_, size) == 0, name_); }

private:
    std::string name_;
    size_t mapped_size_;
    int fd_ = -1;
    void* memory_ = nullptr;
};

// A named semaphore, created when nobody has, removed here.
class NamedSemaphore {
public:
    NamedSemaphore(std::string name, unsigned value) : name_(std::move(name)) {
        semaphore_ = sem_open(name_.c_str(), O_CREAT, SHM_OBJECT_MODE, value);
        require(semaphore_ != SEM_FAILED, name_);
    }
    NamedSemaphore(const NamedSemaphore&) = delete;
    NamedSemaphore& operator=(const NamedSemaphore&) = delete;
    ~NamedSemaphore() {
        sem_close(semaphore_);
        sem_unlink(name_.c_str());
    }
    sem_t* get() const { return semaphore_; }

private:
    std::string name_;
    sem_t* semaphore_ = nullptr;
};

std::string semaphore_name(bool is_start, uint32_t serial) {
    char name[SHM_SEM_NAME_SIZE];
    std::snprintf(name, sizeof name, is_start ? SHM_START_SEM_FORMAT : SHM_COMPLETE_SEM_FORMAT,
                  static_cast<unsigned long>(serial));
    return name;
}

bool ends_with_status_reads(const std::vector<notation::Item>& items) {
    static constexpr std::array<uint16_t, kStatusReads> kPorts = {
        TBC_PORT_SUPPORT, TBC_PORT_STATUS0, TBC_PORT_STATUS1};
    // A marker may stand between the three.
    size_t found = 0;
    for (auto item = items.rbegin(); item != items.rend() && found < kStatusReads; ++item) {
        if (item->kind == Kind::MarkerOpen || item->kind == Kind::MarkerFull) {
            continue;
        }
        if (item->kind != Kind::Read || item->port != kPorts[kStatusReads - 1 - found]) {
            return false;
        }
        ++found;
    }
    return found == kStatusReads;
}

std::string joined(std::span<const notation::Item> items) {
    std::string text;
    for (const notation::Item& item : items) {
        text += notation::text(item) + '\n';
    }
    return text;
}

std::vector<notation::Item> items_of(const RecordedBatch& batch) {
    const size_t skipped = std::min<size_t>(batch.words.size(), SHM_EMPTY_BATCH_WORDS);
    return notation::items(std::span(batch.words).subspan(skipped));
}

// What every batch must be; the findings, in words.
std::vector<std::string> judge(const RecordedBatch& batch) {
    std::vector<std::string> findings;
    const auto find = [&](bool wrong, const std::string& text) {
        if (wrong) {
            findings.push_back(text);
        }
    };
    size_t index = 0;
    size_t marker = 0;
    uint32_t local = 0;
    uint32_t reads = 0;
    bool full = false; // a full marker is due: the run before it is complete
    while (index < batch.words.size()) {
        const notation::Item item = notation::item_at(batch.words, index);
        const std::string at = " at index " + std::to_string(index);
        find(full && item.kind != Kind::MarkerOpen && item.kind != Kind::MarkerFull,
             "no marker after 2048 reads" + at);
        switch (item.kind) {
        case Kind::Reserved:
            find(index != 0, "a reserved word" + at);
            break;
        case Kind::MarkerOpen:
        case Kind::MarkerFull:
            find(index != SHM_EMPTY_MARKER_INDEX && !full, "a marker out of turn" + at);
            marker = index;
            local = 0;
            full = false;
            break;
        case Kind::Read:
            find(item.port >= TBC_EXTENDED_PORTS, "a read of no port" + at);
            ++reads;
            full = ++local == SHM_MARKER_READS;
            find(full && batch.words[marker] != SHM_MARKER_FULL, "a full marker left open" + at);
            break;
        case Kind::Write:
            find(item.port >= TBC_EXTENDED_PORTS, "a write of no port" + at);
            break;
        case Kind::WriteCut:
            find(true, "a write without its value" + at);
            break;
        case Kind::Unknown:
            find(true, "an unknown word" + at);
            break;
        default:
            break;
        }
        index += notation::length_words(item);
    }
    find(full, "no marker at the end of the batch");
    find(batch.last_marker != marker, "lastWCNTR " + std::to_string(batch.last_marker));
    find(marker < batch.words.size() && batch.words[marker] != SHM_MARKER_OPEN,
         "the last marker is not open");
    find(batch.marker_closed != (marker == SHM_EMPTY_MARKER_INDEX ? 0U : 1U), "useZeroOfs");
    find(batch.reads_local != local, "rdCntrLcl " + std::to_string(batch.reads_local));
    find(batch.reads_global != reads, "rdCntrGbl " + std::to_string(batch.reads_global));
    return findings;
}

// What a port gives when it is read.
struct PortScript {
    std::deque<uint16_t> queued;
    std::function<uint16_t()> give;
    uint16_t always = 0;
};

} // namespace

// ---- RecordedBatch ----

std::string RecordedBatch::text() const {
    return joined(items_of(*this));
}

std::string RecordedBatch::body() const {
    std::vector<notation::Item> items = items_of(*this);
    if (ends_with_status_reads(items)) {
        for (size_t left = kStatusReads; left != 0; items.pop_back()) {
            left -= items.back().kind == Kind::Read ? 1 : 0;
        }
    }
    return joined(items);
}

// ---- RecordedPod ----

struct RecordedPod::State {
    State(const PodSpec& spec, const std::string& block_name)
        : start(semaphore_name(true, spec.serial), 0),
          complete(semaphore_name(false, spec.serial), 0) {
        if (spec.block_size != 0) {
            object = std::make_unique<SharedObject>(block_name, sizeof(lcl_shm), spec.block_size);
        }
        if (spec.block_size == sizeof(lcl_shm)) {
            block = static_cast<lcl_shm*>(object->memory());
            empty_batch(*block);
            worker = std::thread([this] { work(); });
        }
        ports[TBC_PORT_STATUS1].always = TBC_STATUS1_ALIVE | TBC_STATUS1_EMU1 | TBC_STATUS1_EMU0;
        ports[TBC_PORT_TAP_STATE].always = TBC_STATE_RESET_READ;
        ports[TBC_PORT_VERSION].always = 1;
        ports[TBC_PORT_SUPPORT].always = SUPPORT_REVISION_MASK;
    }
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    ~State() {
        if (worker.joinable()) {
            {
                const std::lock_guard hold(lock);
                stopping = true;
            }
            sem_post(start.get());
            worker.join();
        }
    }

    void work() {
        for (;;) {
            while (sem_wait(start.get()) != 0) {
            }
            const std::lock_guard hold(lock);
            if (stopping) {
                return;
            }
            serve();
            if (interfering) {
                interfering(*block);
            }
            sem_post(complete.get());
        }
    }

    void serve() {
        const uint32_t command = block->cmd;
        commands.push_back(command);
        block->status = 0;
        switch (command) {
        case SHM_CMD_ATTACH:
            empty_batch(*block);
            break;
        case SHM_CMD_SUPPORT_WRITE:
            support_writes.push_back(static_cast<uint16_t>(block->data));
            block->status = take_one(refusals) ? -1 : 0;
            break;
        case SHM_CMD_EXECUTE:
            execute();
            empty_batch(*block);
            break;
        default:
            break;
        }
    }

    static bool take_one(unsigned& count) { return count != 0 && count-- != 0; }

    void execute() {
        if (block->tbcMblockPtr > SHM_BLOCK_WORDS) {
            findings.push_back("tbcMblockPtr " + std::to_string(block->tbcMblockPtr));
            block->status = -1;
            return;
        }
        RecordedBatch batch;
        batch.words.assign(block->tbcOMblock, block->tbcOMblock + block->tbcMblockPtr);
        batch.last_marker = block->lastWCNTR;
        batch.marker_closed = block->useZeroOfs;
        batch.reads_local = block->rdCntrLcl;
        batch.reads_global = block->rdCntrGbl;
        for (std::string& finding : judge(batch)) {
            findings.push_back("batch " + std::to_string(batches.size()) + ": " + finding);
        }
        if (take_one(failures)) {
            block->status = failure_status;
        } else {
            run(batch);
        }
        if (!recording_words) {
            batch.words.clear();
            batch.answers.clear();
        }
        batches.push_back(std::move(batch));
    }

    void run(RecordedBatch& batch) {
        size_t index = std::min<size_t>(batch.words.size(), SHM_EMPTY_BATCH_WORDS);
        while (index < batch.words.size()) {
            const notation::Item item = notation::item_at(batch.words, index);
            const auto port = static_cast<uint16_t>(item.port & SHM_WORD_PORT_MASK);
            if (item.kind == Kind::Write) {
                take_write(port, item.value);
            } else if (item.kind == Kind::Read) {
                batch.answers.push_back(give_read(port));
            }
            index += notation::length_words(item);
        }
        if (place_at + batch.answers.size() > SHM_BLOCK_WORDS) {
            findings.push_back("more reads than the in-block holds");
            block->status = -1;
            return;
        }
        std::copy(batch.answers.begin(), batch.answers.end(), block->tbcIMblock + place_at);
        if (!batch.answers.empty()) {
            block->status =
                static_cast<int32_t>((place_at + batch.answers.size()) * sizeof(uint16_t));
        }
    }

    void take_write(uint16_t port, uint16_t value) {
        if (watch) {
            watch(port, value);
        }
        if (port == TBC_PORT_COMMAND && value == TBC_COMMAND_LOOPBACK) {
            in_loopback = true;
            loop.clear();
        } else if (port == TBC_PORT_COMMAND && value == TBC_COMMAND_RELEASE) {
            in_loopback = false;
        } else if (port == TBC_PORT_SEND && in_loopback) {
            loop.push_back(reversed(value));
        }
    }

    uint16_t give_read(uint16_t port) {
        PortScript& script = ports[port];
        if (!script.queued.empty()) {
            const uint16_t value = script.queued.front();
            script.queued.pop_front();
            return value;
        }
        if (script.give) {
            return script.give();
        }
        if (port != TBC_PORT_RECEIVE || !in_loopback) {
            return script.always;
        }
        if (loop.empty()) {
            return 0xFFFF;
        }
        const uint16_t value = loop.front();
        loop.pop_front();
        return value;
    }

    NamedSemaphore start;
    NamedSemaphore complete;
    std::unique_ptr<SharedObject> object;
    lcl_shm* block = nullptr;

    mutable std::mutex lock;
    bool stopping = false;

    std::array<PortScript, TBC_EXTENDED_PORTS> ports;
    std::function<void(uint16_t, uint16_t)> watch;
    std::function<void(lcl_shm&)> interfering;
    unsigned failures = 0;
    int32_t failure_status = -1;
    unsigned refusals = 0;
    uint32_t place_at = 0;
    bool recording_words = true;
    bool in_loopback = false;
    std::deque<uint16_t> loop;

    std::vector<uint32_t> commands;
    std::vector<uint16_t> support_writes;
    std::vector<RecordedBatch> batches;
    std::vector<std::string> findings;

    std::thread worker; // last: it uses all of the above
};

RecordedPod::RecordedPod(const PodSpec& spec, const std::string& block_name)
    : state_(std::make_unique<State>(spec, block_name)) {}

RecordedPod::~RecordedPod() {
    for (const std::string& finding : take_findings()) {
        ADD_FAILURE() << "the recording proxy found: " << finding;
    }
}

void RecordedPod::answer(uint16_t port, std::vector<uint16_t> values) {
    const std::lock_guard hold(state_->lock);
    auto& queued = state_->ports.at(port).queued;
    queued.insert(queued.end(), values.begin(), values.end());
}

void RecordedPod::answer_with(uint16_t port, std::function<uint16_t()> give) {
    const std::lock_guard hold(state_->lock);
    state_->ports.at(port).give = std::move(give);
}

void RecordedPod::answer_always(uint16_t port, uint16_t value) {
    const std::lock_guard hold(state_->lock);
    state_->ports.at(port).always = value;
}

void RecordedPod::watch_writes(std::function<void(uint16_t, uint16_t)> watch) {
    const std::lock_guard hold(state_->lock);
    state_->watch = std::move(watch);
}

void RecordedPod::fail_batches(unsigned count, int32_t status) {
    const std::lock_guard hold(state_->lock);
    state_->failures = count;
    state_->failure_status = status;
}

void RecordedPod::refuse_support_writes(unsigned count) {
    const std::lock_guard hold(state_->lock);
    state_->refusals = count;
}

void RecordedPod::interfere(std::function<void(lcl_shm&)> change) {
    const std::lock_guard hold(state_->lock);
    state_->interfering = std::move(change);
}

void RecordedPod::place_reads_at(uint32_t index) {
    const std::lock_guard hold(state_->lock);
    state_->place_at = index;
}

void RecordedPod::record_words(bool record) {
    const std::lock_guard hold(state_->lock);
    state_->recording_words = record;
}

std::vector<uint32_t> RecordedPod::commands() const {
    const std::lock_guard hold(state_->lock);
    return state_->commands;
}

std::vector<uint16_t> RecordedPod::support_writes() const {
    const std::lock_guard hold(state_->lock);
    return state_->support_writes;
}

const std::vector<RecordedBatch>& RecordedPod::batches() const {
    const std::lock_guard hold(state_->lock);
    return state_->batches;
}

const RecordedBatch& RecordedPod::last_batch() const {
    static const RecordedBatch none;
    const std::lock_guard hold(state_->lock);
    if (state_->batches.empty()) {
        ADD_FAILURE() << "no batch was executed";
        return none;
    }
    return state_->batches.back();
}

std::string RecordedPod::text() const {
    std::string text;
    for (const RecordedBatch& batch : batches()) {
        text += batch.body();
    }
    return text;
}

void RecordedPod::forget() {
    const std::lock_guard hold(state_->lock);
    state_->commands.clear();
    state_->support_writes.clear();
    state_->batches.clear();
}

std::vector<std::string> RecordedPod::take_findings() {
    const std::lock_guard hold(state_->lock);
    return std::exchange(state_->findings, {});
}

lcl_shm* RecordedPod::block() const {
    return state_->block;
}

// ---- RecordingProxy ----

struct RecordingProxy::State {
    NamedSemaphore mutex{SHM_GLOBAL_MUTEX_NAME, 1};
    SharedObject object{SHM_DEVICE_TABLE_NAME, sizeof(gbl_shm), sizeof(gbl_shm)};
    std::vector<std::unique_ptr<RecordedPod>> pods;
};

RecordingProxy::RecordingProxy() : RecordingProxy(std::vector<PodSpec>{PodSpec{}}) {}

RecordingProxy::RecordingProxy(const std::vector<PodSpec>& pods)
    : state_(std::make_unique<State>()) {
    table().max_instances = static_cast<uint32_t>(pods.size());
    for (const PodSpec& spec : pods) {
        const size_t index = state_->pods.size();
        gbl_shm_record& record = table().devs[index];
        std::string name = spec.block_name;
        if (name.empty()) {
            name = "/talvor_test_pod_" + std::to_string(index);
        }
        std::memcpy(record.lcl_shm_name, name.data(),
                    std::min(name.size(), sizeof record.lcl_shm_name));
        const std::string object_name = name.substr(0, sizeof record.lcl_shm_name - 1);
        record.devRev = spec.revision;
        record.devSN = spec.serial;
        record.nBus = 1;
        record.nDev = static_cast<uint32_t>(index) + 1;
        state_->pods.push_back(std::make_unique<RecordedPod>(spec, object_name));
        record.recUsed = spec.used ? 1 : 0;
    }
}

RecordingProxy::~RecordingProxy() = default;

RecordedPod& RecordingProxy::pod(size_t index) {
    return *state_->pods.at(index);
}

gbl_shm& RecordingProxy::table() {
    return *static_cast<gbl_shm*>(state_->object.memory());
}

void RecordingProxy::resize_table(off_t size) {
    state_->object.resize(size);
}

sem_t* RecordingProxy::mutex() {
    return state_->mutex.get();
}

} // namespace test_support
