// SPDX-License-Identifier: BSD-2-Clause
//
// Dispatch queues: work is submitted from any thread and runs in submission order (serial, main) or
// side by side (concurrent). The composition root makes one `Queues` and hands it on; tests hand in
// queues of their own.
//
//     queues.main->async([batch = std::move(batch)]() mutable { show(std::move(batch)); });
#pragma once

#include "platform/queue/Task.h"

#include <memory>
#include <string>

namespace brindle::platform {

class DispatchQueue {
  public:
    virtual ~DispatchQueue() = default;
    /// Submits and returns at once. Tasks submitted by one thread start in the order of submission.
    virtual void async(Task task) = 0;
    /// Runs the task and returns when it has ended. On serial queues the task runs on the calling
    /// thread, after everything submitted before it; never call it from the same queue.
    virtual void sync(Task task) = 0;
    virtual const std::string& label() const = 0;
};

/// One task at a time, on a worker thread that exists while there is work. Destroying the queue
/// runs what was submitted before.
std::shared_ptr<DispatchQueue> makeSerialQueue(std::string label);

/// Up to `width` tasks side by side (0: as many as there are processors, at least two).
std::shared_ptr<DispatchQueue> makeConcurrentQueue(std::string label, unsigned width = 0);

/// The queues of the viewer by the names the system uses.
struct Queues {
    std::shared_ptr<DispatchQueue> main;             ///< the main thread
    std::shared_ptr<DispatchQueue> global;           ///< concurrent, default quality of service
    std::shared_ptr<DispatchQueue> reverse;          ///< "ReverseQueue", serial
    std::shared_ptr<DispatchQueue> nationInfo;       ///< "nationinfoqueue", serial
    std::shared_ptr<DispatchQueue> updateVisualizer; ///< "queueUpdateVisualizzerTable", serial
    std::shared_ptr<DispatchQueue> realTimeLog;      ///< "queueRealTimeLog", concurrent
};

/// Makes every queue but the main one, which is handed in.
Queues makeQueues(std::shared_ptr<DispatchQueue> main);

} // namespace brindle::platform
