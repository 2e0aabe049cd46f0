// A server of one target: ports that clients come to, one client at a time.
#pragma once

#include "common/result.h"
#include "host/serve/connection.h"
#include "host/serve/listener.h"
#include "host/serve/protocol.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace talvor {

// Where a protocol is spoken.
struct ServePort {
    ProtocolKind protocol;
    ServeAddress address;
};

// A client at one of the ports.
struct Visit {
    std::string protocol; // "xvc"
    std::string port;     // "127.0.0.1:2542"
    std::string client;   // "127.0.0.1:50112"
};

// How a visit ended.
struct Departure {
    std::string reason;         // "closed the connection"
    std::optional<Error> error; // what dropped the client, where it did not leave
    uint64_t received_bytes = 0;
    uint64_t sent_bytes = 0;
};

// What happens at the ports. Called from run().
class ServerEvents {
public:
    virtual ~ServerEvents() = default;
    virtual void came(const Visit& visit) = 0;
    // Another client is served.
    virtual void turned_away(const Visit& visit, const Visit& served) = 0;
    // Somebody has come, who is nobody knows, and could not be taken for `reason`: "Too many open
    // files". It is tried again and again, and only told again when it has worked in between.
    virtual void not_taken(const Visit& visit, const std::string& reason) = 0;
    virtual void left(const Visit& visit, const Departure& departure) = 0;
};

struct ServerOptions {
    int stop = -1;     // a descriptor that is readable once the end is asked for; -1: never
    bool once = false; // end when the first client has gone
    // Asked after an error of the pod whether serving makes sense any more; may be empty.
    std::function<Status()> go_on{};
};

class Server {
public:
    // A client that has been silent for so long has the target settled.
    static constexpr std::chrono::milliseconds kSilence{1};

    // Listens at all ports. Target and events outlive the server. Errors: see Listener.
    [[nodiscard]] static Result<Server> open(const std::vector<ServePort>& ports, EdgePort& target,
                                             ServerEvents& events);

    struct OpenPort {
        ProtocolKind protocol;
        Listener listener;
    };
    [[nodiscard]] const std::vector<OpenPort>& ports() const noexcept { return ports_; }

    // Serves until the end is asked for. A client that leaves, breaks its protocol or meets an
    // error of the target is told of and let go; whoever comes next begins in Test-Logic-Reset.
    // Afterwards everything due has reached the target. Errors: what go_on answered; with `once`
    // what dropped the client; waiting is impossible.
    [[nodiscard]] Status run(const ServerOptions& options);

private:
    Server(EdgePort& target, ServerEvents& events) : target_(target), events_(events) {}

    [[nodiscard]] Status run_once(const ServerOptions& options);
    [[nodiscard]] Result<bool> wait(int stop);
    [[nodiscard]] int patience_ms() const noexcept;
    [[nodiscard]] Status serve_client();
    [[nodiscard]] Status be_silent();
    void answer_callers();
    void receive_caller(const OpenPort& port);
    void be_without_caller(const OpenPort& port, int reason);
    void look_after_client();
    void begin_visit(Caller caller, const OpenPort& port);
    void end_visit(std::string reason, std::optional<Error> error);

    EdgePort& target_;
    ServerEvents& events_;
    std::vector<OpenPort> ports_;
    std::optional<Connection> client_;
    Visit visit_;
    bool busy_ = false;            // the client was not silent for long enough yet
    bool resting_ = false;         // callers could not be taken for want of something
    bool wanting_ = false;         // and that has been told
    std::vector<bool> has_caller_; // of the ports
    bool client_ready_ = false;
    uint64_t visits_ended_ = 0;
    std::optional<Error> last_error_; // of the last visit
};

} // namespace talvor
