// SPDX-License-Identifier: BSD-2-Clause
#include "platform/queue/main/MainQueue.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEvent>
#include <QObject>
#include <QThread>

#include <deque>
#include <future>
#include <mutex>

namespace brindle::platform {
namespace {

/// One turn of the event loop runs tasks for this long, then painting and input have their turn.
constexpr qint64 kTurnNanoseconds = 4'000'000;

/// Receives the wake-ups. One posted event stands for everything that is queued.
class Pump final : public QObject {
  public:
    void submit(Task task) {
        const std::lock_guard lock(mutex_);
        tasks_.push_back(std::move(task));
        wake(Qt::NormalEventPriority);
    }

    bool event(QEvent* event) override {
        if (event->type() != wakeType()) {
            return QObject::event(event);
        }
        {
            const std::lock_guard lock(mutex_);
            awake_ = false;
        }
        QElapsedTimer turn;
        turn.start();
        while (Task task = next()) {
            task();
            if (turn.nsecsElapsed() > kTurnNanoseconds) {
                break;
            }
        }
        return true;
    }

  private:
    static QEvent::Type wakeType() {
        static const auto type = static_cast<QEvent::Type>(QEvent::registerEventType());
        return type;
    }

    /// With the mutex held.
    void wake(int priority) {
        if (!awake_) {
            awake_ = true;
            QCoreApplication::postEvent(this, new QEvent(wakeType()), priority);
        }
    }

    /// The next task. While others wait behind it an event is on its way for them: the task may run
    /// an event loop of its own (an alert), and the time slice may end with it.
    Task next() {
        const std::lock_guard lock(mutex_);
        if (tasks_.empty()) {
            return {};
        }
        Task task = std::move(tasks_.front());
        tasks_.pop_front();
        if (!tasks_.empty()) {
            wake(Qt::LowEventPriority);
        }
        return task;
    }

    std::mutex mutex_;
    std::deque<Task> tasks_; ///< guarded by mutex_
    bool awake_ = false;     ///< an event is posted; guarded by mutex_
};

class MainQueue final : public DispatchQueue {
  public:
    ~MainQueue() override {
        if (pump_->thread() == QThread::currentThread()) {
            delete pump_;
        } else {
            pump_->deleteLater();
        }
    }

    void async(Task task) override { pump_->submit(std::move(task)); }

    void sync(Task task) override {
        if (pump_->thread() == QThread::currentThread()) {
            task();
            return;
        }
        std::promise<void> done;
        std::future<void> ended = done.get_future();
        // A task that is dropped with the queue breaks its promise, which frees the caller too.
        async([task = std::move(task), done = std::move(done)]() mutable {
            task();
            done.set_value();
        });
        ended.wait();
    }

    const std::string& label() const override { return label_; }

  private:
    Pump* const pump_ = new Pump;
    const std::string label_ = "main";
};

} // namespace

std::shared_ptr<DispatchQueue> makeMainQueue() {
    return std::make_shared<MainQueue>();
}

} // namespace brindle::platform
