#include "common/system_calls.h"
#include "podsim/control/socket.h"
#include "tests/podsim/reason.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace talvor::podsim::control {
namespace {

std::string socket_path() {
    return std::filesystem::temp_directory_path() /
           ("talvor-control-" + std::to_string(getpid()) + ".sock");
}

std::unique_ptr<Socket> listen_there(Handler handler) {
    auto socket = Socket::listen(socket_path(), std::move(handler));
    EXPECT_TRUE(socket) << reason_of(socket);
    return socket ? *std::move(socket) : nullptr;
}

std::string echo(std::string_view line) {
    return std::string("<").append(line).append(">");
}

int connect_there() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    socket_path().copy(address.sun_path, sizeof(address.sun_path) - 1);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    return fd;
}

TEST(ControlSocketTest, AnswersLineByLine) {
    const auto socket = listen_there(echo);
    for (int i = 0; i < 50; ++i) {
        const auto answer = ask(socket_path(), "line " + std::to_string(i));
        ASSERT_TRUE(answer) << reason_of(answer);
        EXPECT_EQ(answer.value(), echo("line " + std::to_string(i)));
    }
}

TEST(ControlSocketTest, AClientMaySendPiecesAndSeveralLinesAtOnce) {
    const auto socket = listen_there(echo);
    const int fd = connect_there();
    EXPECT_EQ(send(fd, "on", 2, MSG_NOSIGNAL), 2);
    EXPECT_EQ(ask(socket_path(), "other").value(), "<other>"); // not held up by the half line
    EXPECT_EQ(send(fd, "e\ntwo\n", 6, MSG_NOSIGNAL), 6);
    std::string answers;
    char bytes[64];
    while (answers.size() < 12) {
        const ssize_t count = recv(fd, bytes, sizeof(bytes), 0);
        ASSERT_GT(count, 0);
        answers.append(bytes, static_cast<size_t>(count));
    }
    EXPECT_EQ(answers, "<one>\n<two>\n");
    close(fd);
}

TEST(ControlSocketTest, AClientThatNeverEndsItsLineIsDropped) {
    const auto socket = listen_there(echo);
    const int fd = connect_there();
    const std::string flood(5000, 'x');
    EXPECT_GT(send(fd, flood.data(), flood.size(), MSG_NOSIGNAL), 0);
    char byte = 0;
    EXPECT_LE(recv(fd, &byte, 1, 0), 0);
    close(fd);
    EXPECT_EQ(ask(socket_path(), "still there").value(), "<still there>");
}

TEST(ControlSocketTest, GoesAwayWithItsFileAndWithClientsConnected) {
    auto socket = listen_there(echo);
    const int fd = connect_there();
    EXPECT_EQ(ask(socket_path(), "x").value(), "<x>"); // the one before it is connected by now
    socket.reset();
    EXPECT_FALSE(std::filesystem::exists(socket_path()));
    char byte = 0;
    EXPECT_EQ(recv(fd, &byte, 1, 0), 0);
    close(fd);
    EXPECT_EQ(reason_of(ask(socket_path(), "x")),
              "reaching the simulator at " + socket_path() + ": No such file or directory");
}

TEST(ControlSocketTest, ReplacesADeadSocketButNeitherALiveOneNorAFile) {
    {
        const auto first = listen_there(echo);
        const auto second = Socket::listen(socket_path(), echo);
        ASSERT_FALSE(second);
        EXPECT_EQ(reason_of(second), "another simulator serves " + socket_path() +
                                         "; choose another name for --control");
        EXPECT_EQ(ask(socket_path(), "x").value(), "<x>");
        // A dead one: its file stays when nobody listens any more.
        std::filesystem::rename(socket_path(), socket_path() + ".kept");
    }
    std::filesystem::rename(socket_path() + ".kept", socket_path());
    EXPECT_EQ(reason_of(ask(socket_path(), "x")),
              "reaching the simulator at " + socket_path() + ": Connection refused");
    listen_there(echo).reset();

    std::ofstream(socket_path()) << "precious";
    EXPECT_EQ(reason_of(Socket::listen(socket_path(), echo)),
              socket_path() + " is no socket; choose another name for --control");
    EXPECT_TRUE(std::filesystem::exists(socket_path()));
    std::filesystem::remove(socket_path());
}

TEST(ControlSocketTest, ANameThatCannotBeIsRefused) {
    EXPECT_EQ(reason_of(Socket::listen(std::string(108, 'x'), echo)),
              "the control socket's name " + std::string(108, 'x') +
                  " is empty or longer than 107 characters; choose a shorter one");
    EXPECT_EQ(reason_of(Socket::listen("/nowhere/ctl", echo)),
              "making the control socket /nowhere/ctl: No such file or directory");
}

// Where the calls of the next two tests note what they see. The listener is the second descriptor
// that the socket's thread waits for.
std::atomic<int> g_refusals{0};
std::atomic<bool> g_rested{false};

// Puts the calls back that a test has replaced.
struct RestoredCalls {
    RestoredCalls() = default;
    RestoredCalls(const RestoredCalls&) = delete;
    RestoredCalls& operator=(const RestoredCalls&) = delete;
    ~RestoredCalls() { system_calls = saved; }
    SystemCalls saved = system_calls;
};

TEST(SocketTest, RestsWhenNoConnectionCanBeTakenAndTakesItLater) {
    const RestoredCalls restored;
    g_refusals = 2;
    g_rested = false;
    system_calls.accept4 = [](int fd, sockaddr* address, socklen_t* size, int flags) {
        if (g_refusals > 0) {
            --g_refusals;
            errno = EMFILE;
            return -1;
        }
        return ::accept4(fd, address, size, flags);
    };
    system_calls.poll = [](pollfd* waits, nfds_t count, int patience_ms) {
        g_rested = g_rested || (count == 2 && waits[1].fd == -1 && patience_ms > 0);
        return ::poll(waits, count, patience_ms);
    };
    const auto socket = listen_there(echo);
    EXPECT_EQ(ask(socket_path(), "hello"), "<hello>");
    EXPECT_EQ(g_refusals, 0);
    EXPECT_TRUE(g_rested);
}

} // namespace
} // namespace talvor::podsim::control
