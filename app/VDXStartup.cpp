// SPDX-License-Identifier: BSD-2-Clause
#include "app/VDXStartup.h"

#include "app/BootTime.h"
#include "app/trace/Trace.h"

namespace brindle {
namespace {

void run(Trace* trace, std::string_view name, const std::function<void()>& step) {
    if (step) {
        const TraceSpan span(trace, name);
        step();
    }
}

} // namespace

VDXStartup::Request VDXStartup::startUp(VersionOutcome outcome) {
    const Request request = requestVersion(std::move(outcome));
    run(context_.trace, "load port names", steps_.loadPortNames);
    run(context_.trace, "import nations", steps_.importNationsDB);
    run(context_.trace, "build local users", steps_.buildLocalUsers);

    context_.periods.bootEpoch = bootTime();
    context_.periods.listsStartEpoch = context_.periods.bootEpoch;

    if (steps_.makeLogsWindow) {
        const TraceSpan span(context_.trace, "open the logs window");
        const std::shared_ptr<WindowController> logs = steps_.makeLogsWindow();
        context_.windowControllers->set("logs", logs);
        logs->present();
    }
    return request;
}

VDXStartup::Request VDXStartup::requestVersion(VersionOutcome outcome) {
    const std::shared_ptr<TallydConnection> connection = context_.helper->daemonConnection();
    if (!connection) {
        return Request::skipped;
    }
    const std::shared_ptr<TallydHelperProtocol> proxy =
        connection->remoteObjectProxyWithErrorHandler(std::move(outcome.failed));
    if (!proxy) {
        return Request::skipped;
    }
    proxy->getVersionWithReply(
        [console = context_.console, answered = std::move(outcome.answered)](std::string version) {
            console("Runtime tallyd version: " + version);
            answered();
        });
    return Request::sent;
}

} // namespace brindle
