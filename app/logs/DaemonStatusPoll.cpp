// SPDX-License-Identifier: BSD-2-Clause
#include "app/logs/DaemonStatusPoll.h"

namespace brindle {

std::shared_ptr<DaemonStatusPoll>
DaemonStatusPoll::create(std::shared_ptr<BrindleHelper> helper,
                         std::shared_ptr<platform::DispatchQueue> main,
                         std::function<void()> answered) {
    const std::shared_ptr<DaemonStatusPoll> poll(new DaemonStatusPoll);
    poll->helper_ = std::move(helper);
    poll->main_ = std::move(main);
    poll->answered_ = std::move(answered);
    return poll;
}

void DaemonStatusPoll::ask() {
    const std::shared_ptr<TallydConnection> connection = helper_->standingConnection();
    if (!connection || pending_) {
        return;
    }
    const auto proxy = connection->remoteObjectProxyWithErrorHandler([](const std::string&) {});
    if (!proxy) {
        return;
    }
    pending_ = true;
    proxy->getStatusWithReply([main = main_, weak = weak_from_this()](const DaemonStatus& status) {
        main->async([weak, status] {
            if (const auto self = weak.lock()) {
                self->pending_ = false;
                self->last_ = daemonFigures(status);
                self->oldestStored_ = status.oldest;
                self->answered_();
            }
        });
    });
}

} // namespace brindle
