#include "host/serve/server.h"

#include "common/system_calls.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <utility>

namespace talvor {
namespace {

// How long no caller is taken after one could not be.
constexpr int kRestMs = 100;
// How often the bytes of a client that may have gone are looked at before another one is sent away.
constexpr int kLastLooks = 64;

bool readable(int fd) {
    pollfd wait{.fd = fd, .events = POLLIN, .revents = 0};
    return past_interrupts([&] { return system_calls.poll(&wait, 1, 0); }) > 0;
}

} // namespace

Result<Server> Server::open(const std::vector<ServePort>& ports, EdgePort& target,
                            ServerEvents& events) {
    Server server(target, events);
    for (const ServePort& port : ports) {
        server.ports_.push_back({port.protocol, TRY(Listener::open(port.address))});
    }
    server.has_caller_.resize(server.ports_.size());
    return server;
}

Status Server::run(const ServerOptions& options) {
    Status status = run_once(options);
    look_after_client();
    if (client_) {
        end_visit("the server ends", std::nullopt);
    }
    return status;
}

Status Server::run_once(const ServerOptions& options) {
    for (;;) {
        const uint64_t ended = visits_ended_;
        if (TRY(wait(options.stop))) {
            return {};
        }
        if (client_) {
            if (const Status served = client_ready_ ? serve_client() : be_silent(); !served) {
                end_visit("dropped", served.error());
            }
        }
        answer_callers();
        if (visits_ended_ == ended) {
            continue;
        }
        if (last_error_ && last_error_->kind == ErrorKind::Pod && options.go_on) {
            TRY(options.go_on());
        }
        if (options.once) {
            return last_error_ ? Status(Failure(*last_error_)) : Status();
        }
    }
}

int Server::patience_ms() const noexcept {
    if (client_ && busy_) {
        return static_cast<int>(kSilence.count());
    }
    return resting_ ? kRestMs : -1;
}

// Waits for something to do; true when the end is asked for.
Result<bool> Server::wait(int stop) {
    std::vector<pollfd> waits{{stop, POLLIN, 0}};
    waits.push_back(
        {client_ ? client_->descriptor() : -1, client_ ? client_->events() : short{0}, 0});
    for (const OpenPort& port : ports_) {
        waits.push_back({resting_ ? -1 : port.listener.descriptor(), POLLIN, 0});
    }
    const int ready = past_interrupts(
        [&] { return system_calls.poll(waits.data(), waits.size(), patience_ms()); });
    if (ready < 0) {
        return system_failure("waiting for clients");
    }
    resting_ = resting_ && ready != 0;
    client_ready_ = waits[1].revents != 0;
    for (size_t i = 0; i < ports_.size(); ++i) {
        has_caller_[i] = waits[i + 2].revents != 0;
    }
    return waits[0].revents != 0;
}

Status Server::serve_client() {
    busy_ = true;
    TRY(client_->serve());
    if (client_->gone()) {
        end_visit(client_->farewell(), std::nullopt);
    }
    return {};
}

// Once for each silence.
Status Server::be_silent() {
    if (!std::exchange(busy_, false)) {
        return {};
    }
    TRY(client_->idle());
    return target_.unsettled() ? target_.settle() : Status();
}

void Server::answer_callers() {
    for (size_t i = 0; i < ports_.size(); ++i) {
        if (has_caller_[i]) {
            receive_caller(ports_[i]);
        }
    }
}

void Server::receive_caller(const OpenPort& port) {
    Caller caller = port.listener.accept();
    if (!caller.socket.is_open()) {
        be_without_caller(port, errno);
        return;
    }
    wanting_ = false;
    look_after_client();
    if (!client_) {
        begin_visit(std::move(caller), port);
        return;
    }
    events_.turned_away({std::string(port.protocol.name), port.listener.name(), caller.name},
                        visit_);
}

// Whoever has gone before he was taken is no fault of the server's.
void Server::be_without_caller(const OpenPort& port, int reason) {
    resting_ = reason != ECONNABORTED && reason != EAGAIN && reason != EWOULDBLOCK;
    if (resting_ && !std::exchange(wanting_, true)) {
        events_.not_taken({std::string(port.protocol.name), port.listener.name(), ""},
                          std::strerror(reason));
    }
}

// The client may have gone while nobody looked: what it has sent is served.
void Server::look_after_client() {
    for (int i = 0; client_ && i < kLastLooks && readable(client_->descriptor()); ++i) {
        if (const Status served = serve_client(); !served) {
            end_visit("dropped", served.error());
        }
    }
}

void Server::begin_visit(Caller caller, const OpenPort& port) {
    visit_ = {std::string(port.protocol.name), port.listener.name(), caller.name};
    client_.emplace(std::move(caller), port.protocol.make(target_));
    busy_ = true;
    events_.came(visit_);
    if (const Status started = target_.start(); !started) {
        end_visit("dropped", started.error());
    }
}

// The target is left as the client left it, parked, with everything due done.
void Server::end_visit(std::string reason, std::optional<Error> error) {
    const auto then = [&error](const Status& status) {
        if (!status && !error) {
            error = status.error();
        }
    };
    if (!error) {
        then(client_->idle());
    }
    if (!error || error->kind == ErrorKind::Refused) {
        then(target_.finish());
    }
    events_.left(visit_,
                 {std::move(reason), error, client_->received_bytes(), client_->sent_bytes()});
    client_.reset();
    last_error_ = std::move(error);
    ++visits_ended_;
}

} // namespace talvor
