#include "common/child_process.h"
#include "common/system_calls.h"
#include "common/temporary.h"
#include "tool/output/record_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <map>
#include <sstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace talvor {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

const std::vector<std::string> kHeads{"who", "number", "what"};

class RecordLogTest : public testing::Test {
protected:
    [[nodiscard]] std::string path() const { return folder_.path() + "/log.csv"; }
    [[nodiscard]] std::string text(const std::string& more = "") const {
        std::ostringstream all;
        all << std::ifstream(path() + more).rdbuf();
        return all.str();
    }
    void write(const std::string& given) const { std::ofstream(path()) << given; }
    [[nodiscard]] Result<RecordLog> open() const { return RecordLog::open(path(), kHeads); }

private:
    TemporaryFolder folder_ = TemporaryFolder::create().value();
};

TEST(CsvFieldTest, IsQuotedAsRfc4180Says) {
    EXPECT_EQ(csv_field("plain text"), "plain text");
    EXPECT_EQ(csv_field(""), "");
    EXPECT_EQ(csv_field("a,b"), "\"a,b\"");
    EXPECT_EQ(csv_field("say \"no\""), "\"say \"\"no\"\"\"");
    EXPECT_EQ(csv_field("\"\""), "\"\"\"\"\"\"");
}

TEST(CsvFieldTest, NeverBreaksTheLine) {
    EXPECT_EQ(csv_field("one\ntwo\r\nthree\tfour\x7F"), "one two  three four ");
}

TEST(CsvLineTest, HasEveryField) {
    EXPECT_EQ(csv_line({"a", "b,c", "d"}), "a,\"b,c\",d\n");
    EXPECT_EQ(csv_line({"", "", "x"}), ",,x\n");
    EXPECT_EQ(csv_line({"x", "", ""}), "x,,\n");
}

TEST_F(RecordLogTest, BeginsWithItsHeadsOnce) {
    ASSERT_TRUE(open().value().append({"a", "1", "first"}));
    ASSERT_TRUE(open().value().append({"b", "2", "x, \"y\""}));
    EXPECT_EQ(text(), "who,number,what\na,1,first\nb,2,\"x, \"\"y\"\"\"\n");
}

TEST_F(RecordLogTest, SetsALineThatIsCutShortApart) {
    write("who,number,what\na,1,first\nb,2,\"sec");
    const RecordLog log = open().value();
    EXPECT_EQ(log.torn(), "b,2,\"sec");
    EXPECT_EQ(text(), "who,number,what\na,1,first\n");
    EXPECT_EQ(log.torn_path(), path() + ".torn");
    EXPECT_EQ(text(".torn"), "b,2,\"sec\n");
}

TEST_F(RecordLogTest, ALineThatIsLongerThanAPieceIsSetApartWhole) {
    const std::string longest(10'000, 'x');
    write("who,number,what\na,1,first\n" + longest);
    EXPECT_EQ(open().value().torn(), longest);
    EXPECT_EQ(text(), "who,number,what\na,1,first\n");
}

TEST_F(RecordLogTest, HeadsThatAreCutShortAreWrittenAnew) {
    write("who,numb");
    EXPECT_EQ(open().value().torn(), "who,numb");
    EXPECT_EQ(text(), "who,number,what\n");
}

// Somebody else who appends beside us ends within a line.
TEST_F(RecordLogTest, ALineTornMeanwhileIsSetApartToo) {
    RecordLog log = open().value();
    std::ofstream(path(), std::ios::app) << "other,7,\"cut";
    ASSERT_TRUE(log.append({"a", "1", "mine"}));
    EXPECT_EQ(text(), "who,number,what\na,1,mine\n");
    EXPECT_EQ(text(".torn"), "other,7,\"cut\n");
}

TEST_F(RecordLogTest, AnotherFileIsLeftAlone) {
    write("time,person\n1,me\n");
    const auto log = open();
    ASSERT_FALSE(log);
    EXPECT_EQ(log.error().kind, ErrorKind::BadFile);
    EXPECT_EQ(headline(log.error()),
              path() + ": is another file: its first line is not that of this log");
    EXPECT_EQ(log.error().next_step, "name another file; a new one begins with who,number,what");
    EXPECT_EQ(text(), "time,person\n1,me\n");
}

TEST_F(RecordLogTest, WhatIsNoPlainFileIsRefused) {
    ASSERT_EQ(mkfifo(path().c_str(), 0600), 0);
    const auto log = open();
    ASSERT_FALSE(log);
    EXPECT_THAT(headline(log.error()), HasSubstr("is no plain file"));
    const auto nowhere = RecordLog::open("/dev/null/none/log.csv", kHeads);
    ASSERT_FALSE(nowhere);
    EXPECT_THAT(headline(nowhere.error()), HasSubstr("cannot be written: Not a directory"));
}

// Restores the table of calls.
class Calls {
public:
    Calls() = default;
    ~Calls() { system_calls = before_; }
    Calls(const Calls&) = delete;
    Calls& operator=(const Calls&) = delete;

private:
    SystemCalls before_ = system_calls;
};

TEST_F(RecordLogTest, AFullDiskLeavesNoHalfLine) {
    RecordLog log = open().value();
    const Calls restored;
    system_calls.write = [](int fd, const void* bytes, size_t count) {
        return ::write(fd, bytes, count / 2);
    };
    const Status appended = log.append({"a", "1", "first"});
    ASSERT_FALSE(appended);
    EXPECT_THAT(headline(appended.error()), HasSubstr("cannot be written: No space left"));
    EXPECT_EQ(text(), "who,number,what\n");
}

TEST_F(RecordLogTest, ALineThatIsNotOnTheDiskIsNotInTheFile) {
    RecordLog log = open().value();
    const Calls restored;
    system_calls.fsync = [](int) {
        errno = EIO;
        return -1;
    };
    const Status appended = log.append({"a", "1", "first"});
    ASSERT_FALSE(appended);
    EXPECT_THAT(headline(appended.error()), HasSubstr("Input/output error"));
    EXPECT_EQ(text(), "who,number,what\n");
}

// ---- several programs, and crashes ------------------------------------------------------------

// Appends in a process of its own until it is killed, or `count` times; what it has appended for
// certain it says on `told`, a byte a line.
pid_t start_writer(const std::string& path, char name, unsigned count, int told) {
    const pid_t child = fork();
    if (child != 0) {
        return child;
    }
    auto log = RecordLog::open(path, kHeads);
    for (unsigned i = 0; log && i < count; ++i) {
        const std::string what(50 + i % 200, name);
        if (!log->append({std::string(1, name), std::to_string(i), what + ",\""})) {
            _exit(1);
        }
        if (::write(told, &name, 1) != 1) {
            _exit(2);
        }
    }
    _exit(log ? 0 : 3);
}

// How many lines of each writer are there; every one is whole, and in order.
std::map<char, unsigned> count_lines(const std::string& text) {
    std::istringstream lines(text);
    std::string line;
    std::getline(lines, line);
    EXPECT_EQ(line, "who,number,what");
    std::map<char, unsigned> counts;
    while (std::getline(lines, line)) {
        const char name = line.empty() ? '?' : line.front();
        const unsigned i = counts[name]++;
        EXPECT_EQ(line + "\n", csv_line({std::string(1, name), std::to_string(i),
                                         std::string(50 + i % 200, name) + ",\""}));
    }
    return counts;
}

TEST_F(RecordLogTest, TwoProgramsDoNotMixTheirLines) {
    const TemporaryFile told = TemporaryFile::create().value();
    std::vector<pid_t> writers;
    for (const char name : {'a', 'b', 'c'}) {
        writers.push_back(start_writer(path(), name, 100, told.descriptor()));
    }
    for (const pid_t writer : writers) {
        int status = -1;
        waitpid(writer, &status, 0);
        EXPECT_EQ(status, 0);
    }
    EXPECT_EQ(count_lines(text()), (std::map<char, unsigned>{{'a', 100}, {'b', 100}, {'c', 100}}));
}

// What was appended for certain is there, wherever the program was killed.
TEST_F(RecordLogTest, AKillAtAnyMomentLosesNoLine) {
    for (unsigned round = 0; round < 20; ++round) {
        unlink(path().c_str());
        int pipe_ends[2];
        ASSERT_EQ(pipe(pipe_ends), 0);
        const pid_t writer = start_writer(path(), 'a', 100'000, pipe_ends[1]);
        close(pipe_ends[1]);
        char byte = 0;
        unsigned told = 0;
        // It has said so much, and is anywhere in the next.
        while (told < 1 + round * 3 && read(pipe_ends[0], &byte, 1) == 1) {
            ++told;
        }
        usleep(round * 37 % 400);
        kill(writer, SIGKILL);
        waitpid(writer, nullptr, 0);
        while (read(pipe_ends[0], &byte, 1) == 1) {
            ++told;
        }
        close(pipe_ends[0]);
        RecordLog log = open().value();
        const unsigned found = count_lines(text())['a'];
        EXPECT_GE(found, told);
        EXPECT_LE(found, told + 1) << "one may be on the disk and not yet told of";
        EXPECT_EQ(log.torn(), "");
    }
}

} // namespace
} // namespace talvor
