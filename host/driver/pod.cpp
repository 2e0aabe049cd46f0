#include "host/driver/pod.h"

#include "common/file_descriptor.h"
#include "host/driver/block_error.h"
#include "host/driver/error_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <mutex>
#include <unistd.h>

namespace talvor {
namespace {

// The program's own standard output while the driver has another one; -1 otherwise.
std::atomic<int> g_own_standard_output{-1};

// The standard output is the process's: the first of several threads that connect pods at one time
// turns it away, and the last turns it back.
std::mutex g_printing_mutex;
unsigned g_printing = 0;

// While one lives, what is printed goes to the standard error: the driver prints the words of a
// failed loop-back test on the standard output, where they would stand within a document.
class PrintToStandardError {
public:
    PrintToStandardError() {
        const std::lock_guard lock(g_printing_mutex);
        if (g_printing++ == 0) {
            turn_away();
        }
    }
    ~PrintToStandardError() {
        const std::lock_guard lock(g_printing_mutex);
        if (--g_printing == 0) {
            turn_back();
        }
    }
    PrintToStandardError(const PrintToStandardError&) = delete;
    PrintToStandardError& operator=(const PrintToStandardError&) = delete;

private:
    static void turn_away() {
        std::fflush(stdout);
        g_own_standard_output = dup(STDOUT_FILENO);
        if (g_own_standard_output >= 0) {
            dup2(STDERR_FILENO, STDOUT_FILENO);
        }
    }
    static void turn_back() {
        std::fflush(stdout);
        const FileDescriptor saved(g_own_standard_output.exchange(-1));
        if (saved.is_open()) {
            dup2(saved.get(), STDOUT_FILENO);
        }
    }
};

} // namespace

void take_standard_output_back() {
    if (const int saved = g_own_standard_output; saved >= 0) {
        dup2(saved, STDOUT_FILENO);
    }
}

Result<std::unique_ptr<Pod>> Pod::open(const Library& library, ProxyWatch& watch, std::string board,
                                       KeyStore keys) {
    std::unique_ptr<Pod> pod(new Pod(library, watch, std::move(board)));
    TRY(pod->connect(std::move(keys)));
    return pod;
}

Pod::~Pod() {
    release();
}

Status Pod::reconnect(KeyStore keys) {
    if (Status status = disconnect(); !status) {
        release();
        return status;
    }
    return connect(std::move(keys));
}

Status Pod::connect(KeyStore keys) {
    configuration_ = std::make_unique<Configuration>(std::move(keys));
    JSC_Parameter parameter{};
    parameter.validParameters = true;
    parameter.clientRecipe = JSC_RECIPE_LONG_INIT | JSC_RECIPE_RESET_LOG;
    parameter.jtiClientType = eJTI_CLIENT_ANONYMOUS;
    parameter.pCfgInterface = configuration_->table();
    parameter.cfgHandle = configuration_->handle();

    const PrintToStandardError printing;
    JTI_Error code = 0;
    {
        const ProxyWatch::Call under_way(watch_);
        code = library_.create_handle(&handle_, &parameter);
    }
    if (code != 0) {
        Failure failed = creation_error(code);
        release();
        return failed;
    }
    if (code = call(&JSC_Interface::Connect, &first_); code != 0) {
        // Connecting has diagnosed the code already.
        Failure failed = connection_error(code);
        release();
        return failed;
    }
    connected_ = true;
    return {};
}

Status Pod::disconnect() {
    if (connected_) {
        connected_ = false;
        bool last = false;
        TRY(run("disconnecting the pod", &JSC_Interface::Disconnect, &last));
    }
    if (handle_ != nullptr) {
        const ProxyWatch::Call under_way(watch_);
        if (const JTI_Error code = library_.delete_handle(&handle_); code != 0) {
            return library_error("closing the pod", code);
        }
    }
    return {};
}

void Pod::release() noexcept {
    if (Status status = disconnect(); status || handle_ == nullptr) {
        return;
    }
    library_.abandon_handle(std::exchange(handle_, nullptr));
}

Status Pod::flush() {
    uint16_t none = 0;
    return run("sending queued work", &JSC_Interface::RegisterRead, false, false, 0U, 0U, &none);
}

Failure Pod::diagnose(std::string thing, JTI_Error code) {
    // Before the diagnosis, which is a call of its own.
    std::optional<Error> proxy = proxy_error(code);
    const JTI_Error better = call(&JSC_Interface::Diagnose, code);
    return proxy ? Failure(*std::move(proxy))
                 : library_error(std::move(thing), better != 0 ? better : code);
}

std::optional<Error> Pod::proxy_error(JTI_Error code) const {
    if (std::optional<Error> lost = watch_.lost()) {
        return lost;
    }
    // What a missing answer comes out as.
    constexpr std::array kNoAnswer{eJTI_ERROR_BATCH_FAILED, eJTI_ERROR_POD_OPEN,
                                   eJTI_ERROR_POD_SETUP, eJTI_ERROR_SUPPORT_WRITE};
    return std::ranges::find(kNoAnswer, code) != kNoAnswer.end() ? watch_.silent() : std::nullopt;
}

// A connect has few arguments that could be wrong: refusing one stands for something else.
Failure Pod::connection_error(JTI_Error code) const {
    if (std::optional<Error> proxy = proxy_error(code)) {
        return Failure(*std::move(proxy));
    }
    Failure failed = library_error("connecting the pod", code);
    if (code == eJTI_ERROR_BAD_ARGUMENT) {
        failed.value().reason = fmt::format(
            "its controller is of the extended kind, which the driver does not connect ({})",
            code_label(code));
        failed.value().next_step =
            "use a pod with a basic controller, or one with dual-port memory";
    }
    return failed;
}

Failure Pod::creation_error(JTI_Error code) const {
    if (std::optional<Error> proxy = proxy_error(code)) {
        return Failure(*std::move(proxy));
    }
    if (code == eJTI_ERROR_SHARED_BLOCK) {
        return block_error("opening the pod");
    }
    const CodeText* text = find_code(code);
    if (text == nullptr || text->kind != ErrorKind::BadFile) {
        return library_error("opening the pod", code);
    }
    const std::string& name = configuration_->last_key();
    const Key* key = configuration_->keys().find(name);
    if (key == nullptr) {
        return library_error(fmt::format("{}: {}", board_, name), code);
    }
    const std::string where = key->line == 0 ? board_ : fmt::format("{}:{}", board_, key->line);
    return library_error(fmt::format("{}: {} = {}", where, key->name, key->text), code);
}

std::vector<uint16_t>& Pod::receive_buffer(size_t words) {
    if (buffers_.empty()) {
        buffers_.emplace_back();
    }
    if (buffers_.back().size() < words) {
        buffers_.back().resize(words);
    }
    return buffers_.back();
}

void Pod::retire_receive_buffer() {
    buffers_.emplace_back();
}

} // namespace talvor
