// SPDX-License-Identifier: BSD-2-Clause
//
// A dispatch queue whose tasks wait for the test. For test programs only.
#pragma once

#include "platform/queue/DispatchQueue.h"

#include <string>
#include <utility>
#include <vector>

namespace brindle {

/// Runs what was submitted when the test says so.
class ManualQueue : public platform::DispatchQueue {
  public:
    void async(platform::Task task) override { tasks_.push_back(std::move(task)); }
    void sync(platform::Task task) override { task(); }
    const std::string& label() const override { return label_; }
    void run() {
        while (!tasks_.empty()) {
            auto tasks = std::exchange(tasks_, {});
            for (auto& task : tasks)
                task();
        }
    }
    bool idle() const { return tasks_.empty(); }

  private:
    std::vector<platform::Task> tasks_;
    std::string label_ = "manual";
};

} // namespace brindle
