// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/program/Serve.h"

#include "core/log/records/RecordText.h"
#include "protocol/TallydServer.h"
#include "tallyd/program/ServiceManager.h"
#include "tallyd/server/Listener.h"
#include "tallyd/server/TallydService.h"
#include "tallyd/sources/Source.h"
#include "tallyd/store/Intake.h"
#include "tallyd/store/Store.h"

#include <csignal>
#include <cstdio>
#include <ctime>
#include <memory>
#include <utility>
#include <vector>

#include <spdlog/spdlog.h>

namespace brindle::tallyd {

namespace {

sigset_t endingSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    return signals;
}

/// Returns when the process is to end. `alive` is called in between, as often as the service
/// manager wants to hear of us.
template <typename Alive>
void waitForEnd(const Alive& alive) {
    const sigset_t signals = endingSignals();
    const auto interval = watchdogInterval();
    if (!interval) {
        int received = 0;
        while (sigwait(&signals, &received) != 0) {
        }
        return;
    }
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(*interval);
    const timespec timeout{static_cast<std::time_t>(seconds.count()),
                           static_cast<long>((*interval - seconds).count()) * 1000};
    while (sigtimedwait(&signals, nullptr, &timeout) < 0)
        alive();
}

int fail(const std::string& line) {
    spdlog::error("{}", line);
    return 1;
}

} // namespace

void holdEndingSignals() {
    const sigset_t signals = endingSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    // A peer that goes away is an error of its connection.
    std::signal(SIGPIPE, SIG_IGN);
}

int serve(const ServeOptions& options) {
    const auto store = Store::open(options.store);
    if (!store)
        return fail(store.error());
    auto writer = store->writer(StoreUse::live);
    if (!writer)
        return fail(writer.error());

    // Set before the first source runs, and so before the first commit.
    TallydServer* liveServer = nullptr;
    Intake intake(std::move(*writer), options.limits,
                  [&liveServer](auto records) { liveServer->publish(std::move(records)); });
    // After the writer, so that the writer's connection is the last to close: only that tidies the
    // write-ahead log away.
    auto reader = store->reader();
    if (!reader)
        return fail(reader.error());

    const ServiceHooks hooks{
        .purge = [&intake](double end) -> tl::expected<void, std::string> {
            const auto purged = intake.purgeBefore(microsFromEpoch(end));
            if (!purged)
                return tl::unexpected(purged.error());
            return {};
        },
        .intakeStatus = [&intake] { return intake.status(); },
    };
    TallydService service(**reader, hooks, programVersion());
    const auto server = makeTallydServer(service);
    liveServer = server.get();

    std::vector<std::unique_ptr<Source>> sources;
    for (const std::string& configured : options.sources) {
        auto source = makeSource(configured);
        if (!source)
            return fail(source.error());
        sources.push_back(std::move(*source));
    }

    const auto inherited = inheritedSocket();
    auto listener = inherited ? Listener::adopt(*inherited, *server)
                              : Listener::create(options.socket, *server);
    if (!listener)
        return fail(listener.error());
    for (const auto& source : sources)
        source->start(intake);

    std::puts("ready");
    std::fflush(stdout);
    tellServiceManager(ServiceState::ready);
    waitForEnd([&intake] {
        // Asking takes the intake's lock: a daemon that hangs there is not alive.
        intake.status();
        tellServiceManager(ServiceState::alive);
    });
    tellServiceManager(ServiceState::stopping);

    sources.clear();
    listener->reset();
    if (const auto drained = intake.drain(); !drained)
        return fail("store: " + drained.error());
    return 0;
}

} // namespace brindle::tallyd
