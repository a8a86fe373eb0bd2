// SPDX-License-Identifier: BSD-2-Clause
#include "protocol/wire/LoopThread.h"

#include <cerrno>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <kj/async-unix.h>
#include <pthread.h>
#include <unistd.h>

namespace brindle::wire {

LoopThread::LoopThread(const std::string& name) {
    // A pipe rather than the library's own hand-over between threads: posting then never waits, and
    // the poster needs no loop of its own.
    int ends[2];
    if (::pipe(ends) != 0)
        throw std::system_error(errno, std::generic_category(), "cannot make a pipe");
    for (const int fd : ends) {
        ::fcntl(fd, F_SETFD, FD_CLOEXEC);
        ::fcntl(fd, F_SETFL, O_NONBLOCK);
    }
    wakeRead_ = ends[0];
    wakeWrite_ = ends[1];
    // The thread reads what is set above and, through isCurrent, its own id: it begins with posted
    // work, which comes after this constructor.
    thread_ = std::thread([this] { run(); });
    id_ = thread_.get_id();
#ifdef __linux__
    ::pthread_setname_np(thread_.native_handle(), name.substr(0, 15).c_str());
#else
    static_cast<void>(name);
#endif
}

bool LoopThread::post(Work work) {
    std::lock_guard lock(mutex_);
    if (ended_)
        return false;
    inbox_.push_back(kj::mv(work));
    if (!std::exchange(woken_, true)) {
        const char byte = 0;
        static_cast<void>(::write(wakeWrite_, &byte, 1)); // an empty pipe has room for it
    }
    return true;
}

void LoopThread::stop() {
    if (!thread_.joinable())
        return;
    {
        std::lock_guard lock(mutex_);
        ending_ = true;
    }
    post([] {});
    thread_.join();
    ::close(wakeRead_);
    ::close(wakeWrite_);
}

std::vector<LoopThread::Work> LoopThread::takeWork(bool& ending) {
    char bytes[16];
    while (::read(wakeRead_, bytes, sizeof bytes) > 0) {
    }
    std::lock_guard lock(mutex_);
    woken_ = false;
    ending = ending_;
    // Work may post more work while the thread ends: it ends with nothing left to do.
    ended_ = ending_ && inbox_.empty();
    return std::exchange(inbox_, {});
}

void LoopThread::run() {
    auto context = kj::setupAsyncIo();
    io_ = context.lowLevelProvider;
    kj::UnixEventPort::FdObserver wake(context.unixEventPort, wakeRead_,
                                       kj::UnixEventPort::FdObserver::OBSERVE_READ);
    for (;;) {
        bool ending = false;
        std::vector<Work> batch = takeWork(ending);
        if (ending && batch.empty())
            return;
        for (Work& next : batch) {
            Work work = kj::mv(next); // what it carries goes when it has run
            work();
        }
        if (!ending)
            wake.whenBecomesReadable().wait(context.waitScope);
    }
}

} // namespace brindle::wire
