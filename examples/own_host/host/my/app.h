// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

/// The renderer's text, log, progress and contexts.
namespace my {

struct Text {
    Text() = default;
    Text(const char* new_text) : text(new_text) {}
    Text(const std::string& new_text) : text(new_text) {}
    Text operator+(const char* more) const { return text + more; }
    Text operator+(unsigned number) const { return text + std::to_string(number); }

    std::string text;
};

/// One message.
struct Message {
    Message& operator<<(const char* piece) { return add(piece); }
    Message& operator<<(const char& piece) { return add(std::string(1, piece)); }
    Message& operator<<(const int& piece) { return add(std::to_string(piece)); }
    Message& operator<<(const unsigned& piece) { return add(std::to_string(piece)); }
    Message& operator<<(const float& piece) { return add(std::to_string(piece)); }
    Message& add(const std::string& piece) {
        text += piece;
        return *this;
    }

    std::string text;
};

struct Log {
    void info_msg(const Message& message) { std::printf("%s\n", message.text.c_str()); }
};

/// Thrown out of a progress bar when the user has had enough.
struct Cancelled {};

class App;

class Bar {
  public:
    explicit Bar(App& new_app) : app(&new_app) {}

    /// Counts may pass several multiples of the interval at once, which is one increment.
    void increment_if_step(const unsigned& count) {
        if (count < next)
            return;
        next = (count / interval + 1ull) * interval;
        set_value(value + increment);
    }
    void set_value(const float& new_value) {
        if (new_value > cancelled_at)
            throw Cancelled();
        value = new_value;
    }
    void finish() { value = 1; }

    App* app;
    unsigned interval = 1;
    unsigned long long next = 1;
    float increment = 0;
    float value = 0;
    float cancelled_at = 2;
};

/// Bars are made and dropped on any thread.
class App {
  public:
    Bar* create_progress_bar(const Text&, const bool&) {
        const std::lock_guard<std::mutex> lock(mutex);
        bars.push_back(std::make_unique<Bar>(*this));
        return bars.back().get();
    }
    void drop(const Bar& bar) {
        const std::lock_guard<std::mutex> lock(mutex);
        for (auto& own : bars)
            if (own.get() == &bar)
                return own.swap(bars.back()), bars.pop_back();
    }

    std::mutex mutex;
    std::vector<std::unique_ptr<Bar>> bars;
    unsigned build_method = 2;
};

/// When the shutter is open, and how many samples are taken of what moves meanwhile.
struct Shutter {
    double get_step() const { return samples < 2 ? 0 : (close - open) / (samples - 1); }
    /// From which sample to the next a time lies, and how far between them (0..1).
    void get_time_spanf(const float& time, unsigned& sample, float& fraction) const {
        sample = 0;
        fraction = 0;
        const double position = get_step() > 0 ? (time - open) / get_step() : 0;
        if (!(position > 0)) // a NaN, too
            return;
        sample = position < samples - 2 ? unsigned(position) : samples - 2;
        fraction = position < samples - 1 ? position - sample : 1;
    }

    double open = 0;
    double close = 1;
    unsigned samples = 0;
};

/// What all callbacks of a picture share.
struct Picture {
    int number = 0;
};

/// What belongs to one thread.
struct ThreadState {
    Shutter shutter;
    /// Two places for the trees' scratch memory.
    void* scratch[2] = {nullptr, nullptr};
};

} // namespace my
