// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/program/Serve.h"

#include "core/log/records/RecordText.h"
#include "protocol/TallydServer.h"
#include "tallyd/program/Progress.h"
#include "tallyd/program/Rights.h"
#include "tallyd/program/ServiceManager.h"
#include "tallyd/program/SourceSet.h"
#include "tallyd/server/Listener.h"
#include "tallyd/server/TallydService.h"
#include "tallyd/store/Intake.h"
#include "tallyd/store/Store.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <memory>
#include <optional>
#include <utility>

#include <spdlog/spdlog.h>

namespace brindle::tallyd {

namespace {

sigset_t leadingSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGHUP);
    return signals;
}

/// Waits for the next signal, with a time-out: it may be none.
std::optional<int> nextSignal(const std::optional<std::chrono::microseconds>& patience) {
    const sigset_t signals = leadingSignals();
    if (!patience) {
        const int received = ::sigwaitinfo(&signals, nullptr);
        return received > 0 ? std::optional(received) : std::nullopt;
    }
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(*patience);
    const timespec timeout{static_cast<std::time_t>(seconds.count()),
                           static_cast<long>((*patience - seconds).count()) * 1000};
    const int received = ::sigtimedwait(&signals, nullptr, &timeout);
    return received > 0 ? std::optional(received) : std::nullopt;
}

/// Returns when the process is to end. `alive` is called as often as the service manager wants to
/// hear of us, `reload` when the configuration is to be read again.
template <typename Alive, typename Reload>
void waitForEnd(const Alive& alive, const Reload& reload) {
    using Clock = std::chrono::steady_clock;
    const auto interval = watchdogInterval();
    Clock::time_point next = Clock::now();
    for (;;) {
        std::optional<std::chrono::microseconds> patience;
        if (interval) {
            if (Clock::now() >= next) {
                alive();
                next = Clock::now() + *interval;
            }
            patience = std::max(std::chrono::microseconds(0),
                                std::chrono::ceil<std::chrono::microseconds>(next - Clock::now()));
        }
        const auto received = nextSignal(patience);
        if (received == SIGHUP)
            reload();
        else if (received)
            return;
    }
}

/// As far as the configuration file tells them.
bool sameLimits(const IntakeLimits& a, const IntakeLimits& b) {
    return a.queueRecords == b.queueRecords && a.batchRecords == b.batchRecords &&
           a.batchAge == b.batchAge && a.retention.age == b.retention.age &&
           a.retention.bytes == b.retention.bytes;
}

/// Reads the configuration file again and changes what can change while we run. `options` become
/// the new ones unless there is a mistake.
void reload(ServeOptions& options, SourceSet& sources) {
    if (options.request.configPath.empty()) {
        spdlog::warn("reload: there is no configuration file to read");
        return;
    }
    auto wanted = serveOptions(options.request);
    const auto changes = wanted ? sources.replace(wanted->sources, ActionPatterns(wanted->actions))
                                : tl::unexpected(wanted.error());
    if (!changes) {
        spdlog::error("reload: {}; nothing is changed", changes.error());
        return;
    }
    spdlog::info("reload: {} sources added, {} removed, {} kept", changes->added, changes->removed,
                 wanted->sources.size() - changes->added);
    std::string later;
    const auto takesEffectLater = [&](const char* what, bool isChanged) {
        if (isChanged)
            later += (later.empty() ? "" : ", ") + std::string(what);
    };
    takesEffectLater("\"store\"", wanted->store != options.store);
    takesEffectLater("\"socket\"", wanted->socket != options.socket);
    takesEffectLater("\"limits\"", !sameLimits(wanted->limits, options.limits) ||
                                       !(wanted->clients == options.clients));
    if (!later.empty())
        spdlog::warn("reload: {} changed: taken at the next start", later);
    if (wanted->actions != options.actions && changes->added < wanted->sources.size())
        spdlog::warn(
            "reload: \"actions\" changed: taken by new sources, by those that were kept at "
            "the next start");
    // What is not taken is compared again, and told again, at the next reload.
    options.sources = std::move(wanted->sources);
}

int fail(const std::string& line) {
    spdlog::error("{}", line);
    return 1;
}

} // namespace

void holdSignals() {
    const sigset_t signals = leadingSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    // A peer that goes away is an error of its connection.
    std::signal(SIGPIPE, SIG_IGN);
}

int serve(ServeOptions options) {
    // First what may need root, then its rights go, before there is a second thread.
    SourceSet prepared;
    if (const auto made = prepared.prepare(options.sources, ActionPatterns(options.actions)); !made)
        return fail(made.error());
    makeRoomForDescriptors(options.clients.connections);
    DoorSocket door;
    auto opened = door.open(options.socket);
    if (const auto given = giveUpRights(options); !given)
        return fail(given.error());
    if (!opened)
        opened = door.open(options.socket);
    if (!opened)
        return fail(opened.error());

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
    const auto server = makeTallydServer(service, options.clients);
    liveServer = server.get();

    auto listener = Listener::adopt(door.release(), *server);
    if (!listener)
        return fail(listener.error());
    SourceSet sources = std::move(prepared); // ends before the intake, however this ends
    sources.start(intake);

    std::puts("ready");
    std::fflush(stdout);
    tellServiceManager(ServiceState::ready);
    Progress progress;
    const auto alive = [&] {
        const std::uint64_t handedOver = sources.handedOver();
        // Asking takes the intake's lock: a daemon that hangs there is not alive either.
        const bool stores = progress.goesOn(handedOver, intake.status().received);
        const bool answers = server->goesOn();
        if (stores && answers)
            tellServiceManager(ServiceState::alive);
        if (!stores)
            spdlog::error("the writer does not get on");
        if (!answers)
            spdlog::error("requests are not answered");
    };
    waitForEnd(alive, [&] {
        tellServiceManager(ServiceState::reloading);
        reload(options, sources);
        tellServiceManager(ServiceState::ready);
    });
    tellServiceManager(ServiceState::stopping);

    sources.clear();
    listener->reset();
    if (const auto drained = intake.drain(); !drained)
        return fail("store: " + drained.error());
    return 0;
}

} // namespace brindle::tallyd
