// SPDX-License-Identifier: BSD-2-Clause
//
// A name service and a clock that do what a test says. For test programs only.
#pragma once

#include "platform/resolver/HostResolver.h"
#include "platform/timer/Timer.h"

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace brindle {

/// Keeps look-ups until the test answers them.
class FakeResolver : public platform::HostResolver {
  public:
    struct Lookup : platform::HostLookup {
        explicit Lookup(FakeResolver& r) : resolver(r) { ++resolver.running; }
        ~Lookup() override { --resolver.running; }
        FakeResolver& resolver;
    };
    tl::expected<std::unique_ptr<platform::HostLookup>, platform::StreamError>
    startNames(const platform::SocketAddress& address, Completion completion) override {
        if (refuse)
            return tl::unexpected(platform::StreamError{platform::StreamError::Domain::posix, 101});
        for (const auto& [name, bytes] : known)
            if (bytes == address)
                completions.emplace(name, std::move(completion));
        return std::make_unique<Lookup>(*this);
    }
    void answer(const std::string& ip, std::vector<std::string> names) {
        take(ip)(std::nullopt, std::move(names));
    }
    void fail(const std::string& ip) {
        take(ip)(platform::StreamError{platform::StreamError::Domain::netDatabase, -2}, {});
    }
    Completion take(const std::string& ip) {
        const auto found = completions.find(ip);
        Completion completion = std::move(found->second);
        completions.erase(found);
        return completion;
    }

    bool refuse = false;
    int running = 0;
    std::map<std::string, platform::SocketAddress> known;
    std::multimap<std::string, Completion> completions;
};

/// A clock that the test moves.
class FakeTimers : public platform::TimerService {
  public:
    struct State {
        double due = 0;
        platform::Task handler;
        bool running = true;
    };
    struct Handle : platform::Timer {
        explicit Handle(std::shared_ptr<State> s) : state(std::move(s)) {}
        ~Handle() override { state->running = false; }
        void invalidate() override { state->running = false; }
        bool isRunning() const override { return state->running; }
        std::shared_ptr<State> state;
    };
    std::unique_ptr<platform::Timer> after(double seconds, platform::Task handler) override {
        states.push_back(std::make_shared<State>(State{now + seconds, std::move(handler), true}));
        return std::make_unique<Handle>(states.back());
    }
    void advance(double seconds) {
        now += seconds;
        for (std::size_t i = 0; i < states.size(); ++i)
            if (states[i]->running && states[i]->due <= now) {
                states[i]->running = false;
                states[i]->handler();
            }
    }
    double now = 0;
    std::vector<std::shared_ptr<State>> states;
};

} // namespace brindle
