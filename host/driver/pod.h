// One connected pod: the driver's handle with everything that must live as long as it does.
#pragma once

#include "common/result.h"
#include "host/board/configuration.h"
#include "host/driver/library.h"
#include "host/driver/proxy_watch.h"

#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace talvor {

// The standard output of this program again, in whatever call the driver hangs. For a program that
// is about to end with a message.
void take_standard_output_back();

class Pod {
public:
    // Makes a handle for `keys` and connects it, with the long initialisation, which programs the
    // link delay, and the reset log. `board` is what messages call the configuration. Library and
    // watch outlive the pod. Errors: see library_error; a bad key is named with its line and value.
    [[nodiscard]] static Result<std::unique_ptr<Pod>>
    open(const Library& library, ProxyWatch& watch, std::string board, KeyStore keys);
    // Disconnects and deletes the handle.
    ~Pod();
    Pod(const Pod&) = delete;
    Pod& operator=(const Pod&) = delete;

    // Disconnects and connects again with other keys. The TAP stays where it was. After an error
    // the pod is not connected, and every operation answers an error; a later reconnect may
    // succeed.
    [[nodiscard]] Status reconnect(KeyStore keys);

    // Calls one operation of the table: call(&JSC_Interface::GetState, &state).
    template <typename Slot, typename... Arguments>
    JTI_Error call(Slot slot, Arguments... arguments) {
        if (handle_ == nullptr) {
            return eJTI_ERROR_HANDLE_STATE;
        }
        const ProxyWatch::Call under_way(watch_);
        return (library_.table().*slot)(handle_, arguments...);
    }
    // The same with the result as a Status: a failure is diagnosed first, so that a lost supply or
    // a transport error is named instead of its consequence.
    template <typename Slot, typename... Arguments>
    [[nodiscard]] Status run(std::string_view thing, Slot slot, Arguments... arguments) {
        const JTI_Error code = call(slot, arguments...);
        if (code != 0) {
            return diagnose(std::string(thing), code);
        }
        return {};
    }
    // Hands everything that is queued to the proxy.
    [[nodiscard]] Status flush();

    // For who calls the table by other means than call(): the handle, null while the pod is not
    // connected, and the watch that is told of each call.
    [[nodiscard]] JSC_Inform* handle() const noexcept { return handle_; }
    [[nodiscard]] ProxyWatch& watch() noexcept { return watch_; }

    // Whether this connection was the first on the pod: false when another host is connected too,
    // or has died while it was.
    [[nodiscard]] bool first() const noexcept { return first_; }
    [[nodiscard]] const Configuration& configuration() const noexcept { return *configuration_; }
    [[nodiscard]] const Library& library() const noexcept { return library_; }

    // Room for `words` received words. The driver may still write to it after a scan has failed, so
    // it belongs to the pod.
    [[nodiscard]] std::vector<uint16_t>& receive_buffer(size_t words);
    // After a failed scan: the driver may still write to the present buffer, the next one is new.
    void retire_receive_buffer();

private:
    Pod(const Library& library, ProxyWatch& watch, std::string board)
        : library_(library), watch_(watch), board_(std::move(board)) {}

    [[nodiscard]] Status connect(KeyStore keys);
    [[nodiscard]] Status disconnect();
    void release() noexcept;
    [[nodiscard]] Failure diagnose(std::string thing, JTI_Error code);
    // What to tell about `code` where the proxy may be to blame: it has ended, or is silent.
    [[nodiscard]] std::optional<Error> proxy_error(JTI_Error code) const;
    [[nodiscard]] Failure connection_error(JTI_Error code) const;
    [[nodiscard]] Failure creation_error(JTI_Error code) const;

    const Library& library_;
    ProxyWatch& watch_;
    std::string board_;
    std::unique_ptr<Configuration> configuration_;
    JSC_Inform* handle_ = nullptr;
    bool connected_ = false;
    bool first_ = true;
    std::list<std::vector<uint16_t>> buffers_; // the last one is in use
};

} // namespace talvor
