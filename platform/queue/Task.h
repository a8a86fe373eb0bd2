// SPDX-License-Identifier: BSD-2-Clause
//
// A piece of work handed to a queue: callable once, movable, so that it can own what it carries
// (batches, connections) without copying.
#pragma once

#include <concepts>
#include <memory>
#include <utility>

namespace brindle::platform {

class Task {
  public:
    Task() = default;

    template <std::invocable Work>
    requires(!std::same_as<std::decay_t<Work>, Task>)
        Task(Work&& work) // implicit: a lambda is a task
        : work_(std::make_unique<Holder<std::decay_t<Work>>>(std::forward<Work>(work))) {}

    explicit operator bool() const { return work_ != nullptr; }
    void operator()() { work_->run(); }

  private:
    struct Base {
        virtual ~Base() = default;
        virtual void run() = 0;
    };
    template <typename Work>
    struct Holder final : Base {
        explicit Holder(Work&& w) : work(std::move(w)) {}
        explicit Holder(const Work& w) : work(w) {}
        void run() override { work(); }
        Work work;
    };

    std::unique_ptr<Base> work_;
};

} // namespace brindle::platform
