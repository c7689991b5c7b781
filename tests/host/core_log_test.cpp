// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include <gas/host/host.h>
#include <tests/support/seeded_random.h>

namespace {

template <typename T> std::string format(const T& value) {
    CoreLogStream stream;
    stream << value;
    return stream.get_text();
}

// Collects messages in place of standard output, for as long as it lives.
class SinkGuard {
  public:
    explicit SinkGuard(CoreLogHandler::Sink sink) {
        core_main_log_handler().set_sink(std::move(sink));
    }
    SinkGuard(const SinkGuard&) = delete;
    SinkGuard& operator=(const SinkGuard&) = delete;
    ~SinkGuard() { core_main_log_handler().set_sink({}); }
};

} // namespace

TEST(CoreLogStream, JoinsItsPieces) {
    CoreLogStream stream;
    stream << "nodes " << 12u << ',' << ' ' << -3 << " (" << 0.5f << ')' << '\n';
    EXPECT_EQ(stream.get_text(), "nodes 12, -3 (0.5)\n");
}

TEST(CoreLogStream, WritesWholeNumbersInFull) {
    EXPECT_EQ(format(0), "0");
    EXPECT_EQ(format(std::numeric_limits<int>::min()), "-2147483648");
    EXPECT_EQ(format(std::numeric_limits<int>::max()), "2147483647");
    EXPECT_EQ(format(4294967295u), "4294967295");
    EXPECT_EQ(format(0u), "0");
}

TEST(CoreLogStream, WritesFloatsWithTheFewestDigits) {
    EXPECT_EQ(format(0.0f), "0");
    EXPECT_EQ(format(-0.0f), "-0");
    EXPECT_EQ(format(1.0f), "1");
    EXPECT_EQ(format(0.1f), "0.1");
    EXPECT_EQ(format(-2.75f), "-2.75");
    EXPECT_EQ(format(1.0f / 3.0f), "0.33333334");
    EXPECT_EQ(format(16777216.0f), "16777216");
    EXPECT_EQ(format(1e30f), "1e+30");
    EXPECT_EQ(format(1e-45f), "1e-45");
    EXPECT_EQ(format(std::numeric_limits<float>::max()), "3.4028235e+38");
}

TEST(CoreLogStream, WritesInfinitiesAndNans) {
    const float infinity = std::numeric_limits<float>::infinity();
    EXPECT_EQ(format(infinity), "inf");
    EXPECT_EQ(format(-infinity), "-inf");
    EXPECT_EQ(format(std::nanf("")), "nan");
    EXPECT_EQ(format(-std::nanf("")), "nan");
}

TEST(CoreLogStream, WrittenFloatsReadBackTheSame) {
    support::SeededRandom random(71);
    for (unsigned i = 0; i < 20000; ++i) {
        const unsigned bits = random.next();
        float value;
        std::memcpy(&value, &bits, sizeof value);
        if (std::isnan(value))
            continue;
        const float read = std::strtof(format(value).c_str(), nullptr);
        unsigned read_bits;
        std::memcpy(&read_bits, &read, sizeof read_bits);
        ASSERT_EQ(read_bits, bits) << format(value);
    }
}

TEST(CoreLogStream, WritesCharactersAsThemselves) {
    EXPECT_EQ(format('\n'), "\n");
    EXPECT_EQ(format('7'), "7");
    EXPECT_EQ(format("7"), "7");
    const char* none = nullptr;
    EXPECT_EQ(format(none), "");
}

TEST(CoreLogHandler, ThereIsOne) { EXPECT_EQ(&core_main_log_handler(), &core_main_log_handler()); }

TEST(CoreLogHandler, ASinkReceivesEachMessage) {
    std::vector<std::string> messages;
    const SinkGuard guard([&](const std::string& text) { messages.push_back(text); });
    CoreLogStream stream;
    core_main_log_handler().info_msg(stream << "first\n");
    core_main_log_handler().info_msg(stream << "second\n");
    EXPECT_EQ(messages, (std::vector<std::string>{"first\n", "first\nsecond\n"}));
}

TEST(CoreLogHandler, WithoutASinkMessagesGoToStandardOutput) {
    std::vector<std::string> messages;
    CoreLogStream stream;
    stream << "to standard output";
    {
        const SinkGuard guard([&](const std::string& text) { messages.push_back(text); });
    }
    testing::internal::CaptureStdout();
    core_main_log_handler().info_msg(stream);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "to standard output");
    EXPECT_TRUE(messages.empty());
}

TEST(CoreLogHandler, MessagesOfSeveralThreadsDoNotMix) {
    std::vector<std::string> messages; // unguarded: the handler calls its sink once at a time
    const SinkGuard guard([&](const std::string& text) { messages.push_back(text); });
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int number = 0; number < 4; ++number)
        threads.emplace_back([number] {
            CoreLogStream stream;
            stream << "thread " << number;
            for (unsigned i = 0; i < 200; ++i)
                core_main_log_handler().info_msg(stream);
        });
    for (std::thread& thread : threads)
        thread.join();

    ASSERT_EQ(messages.size(), 800u);
    unsigned counts[4] = {};
    for (const std::string& message : messages) {
        ASSERT_EQ(message.substr(0, 7), "thread ");
        ASSERT_EQ(message.size(), 8u);
        ++counts[message[7] - '0'];
    }
    for (const unsigned count : counts)
        EXPECT_EQ(count, 200u);
}
