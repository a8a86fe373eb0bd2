// SPDX-License-Identifier: BSD-2-Clause
#include "platform/broadcast/BroadcastCenter.h"

#include "platform/broadcast/BusReceivers.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusError>
#include <QDBusVariant>
#include <QLoggingCategory>
#include <QThread>
#include <QVariantMap>

#include <atomic>
#include <chrono>
#include <future>
#include <optional>

namespace brindle::platform {
namespace {

Q_LOGGING_CATEGORY(lcBroadcast, "brindle.broadcast", QtInfoMsg)

const QString kInterface = QStringLiteral("org.vardex.DistributedNotification");
const QString kPath = QStringLiteral("/org/vardex/DistributedNotification");
const QString kBusService = QStringLiteral("org.freedesktop.DBus");
const QString kBusPath = QStringLiteral("/org/freedesktop/DBus");

/// How long the bus may take for a question to itself, and another program to take arguments.
constexpr int kBusMs = 500;
constexpr int kHandOverMs = 5000;

constexpr uint kDoNotQueue = 4;
constexpr uint kPrimaryOwner = 1;
constexpr uint kAlreadyOwner = 4;

QDBusMessage busCall(const char* method) {
    return QDBusMessage::createMethodCall(kBusService, kBusPath, kBusService,
                                          QString::fromLatin1(method));
}

QString objectPath(const std::string& busName) {
    return QLatin1Char('/') + QString::fromStdString(busName).replace('.', '/');
}

QVariantMap toDictionary(const UserInfo& userInfo) {
    QVariantMap dictionary;
    for (const auto& [key, texts] : userInfo) {
        QStringList list;
        list.reserve(static_cast<qsizetype>(texts.size()));
        for (const std::string& text : texts) {
            list.append(QString::fromStdString(text));
        }
        dictionary.insert(QString::fromStdString(key), list);
    }
    return dictionary;
}

std::vector<std::string> toTexts(const QStringList& list) {
    std::vector<std::string> texts;
    texts.reserve(static_cast<std::size_t>(list.size()));
    for (const QString& text : list) {
        texts.push_back(text.toStdString());
    }
    return texts;
}

/// Anyone of the user may send anything: what has another form is left out.
UserInfo toUserInfo(const QDBusMessage& message) {
    UserInfo userInfo;
    if (message.signature() != QLatin1String("a{sv}")) {
        return userInfo;
    }
    const auto dictionary = qdbus_cast<QVariantMap>(message.arguments().constFirst());
    for (auto entry = dictionary.begin(); entry != dictionary.end(); ++entry) {
        if (entry.value().metaType() == QMetaType::fromType<QStringList>()) {
            userInfo.emplace(entry.key().toStdString(), toTexts(entry.value().toStringList()));
        }
    }
    return userInfo;
}

/// A receiver lives on the main thread, and is gone there: at once, or when its turn comes.
struct ReceiverEnd {
    void operator()(QObject* receiver) const {
        if (receiver->thread() == QThread::currentThread()) {
            delete receiver;
        } else {
            receiver->deleteLater();
        }
    }
};

using Cancelled = std::shared_ptr<std::atomic<bool>>;

/// The worker may still be busy connecting the receiver when nobody wants to hear of it any more.
class ReceiverObservation final : public Observation {
  public:
    ReceiverObservation(std::shared_ptr<QObject> receiver, Cancelled cancelled)
        : receiver_(std::move(receiver)), cancelled_(std::move(cancelled)) {}
    ~ReceiverObservation() override { *cancelled_ = true; }

  private:
    const std::shared_ptr<QObject> receiver_;
    const Cancelled cancelled_;
};

/// All that waits, the connecting above all, happens on a worker, one thing after the other.
class SessionBusCenter final : public BroadcastCenter {
  public:
    SessionBusCenter(std::shared_ptr<DispatchQueue> main, std::string address)
        : main_(std::move(main)) {
        worker_->async([this, address = QString::fromStdString(address)] { connect(address); });
    }

    ~SessionBusCenter() override {
        *gone_ = true;
        // An answer says that everything sent before the question has left.
        worker_->async([this] {
            if (isConnected("leaving")) {
                bus_->call(busCall("GetId"), QDBus::Block, kBusMs);
            }
            bus_.reset();
            QDBusConnection::disconnectFromBus(connectionName_);
        });
        worker_.reset(); // runs what was submitted
    }

    void post(const std::string& name, const UserInfo& userInfo) override {
        worker_->async([this, name = QString::fromStdString(name), userInfo] {
            if (isConnected("a notification is not posted")) {
                QDBusMessage message = QDBusMessage::createSignal(kPath, kInterface, name);
                message << toDictionary(userInfo);
                bus_->send(message);
            }
        });
    }

    std::unique_ptr<Observation> observe(const std::string& name,
                                         std::function<void(const UserInfo&)> handler) override {
        const auto cancelled = std::make_shared<std::atomic<bool>>(false);
        return listen(
            cancelled,
            [this, cancelled, handler = std::move(handler)](const QDBusMessage& message) {
                tell(cancelled, [handler, info = toUserInfo(message)] { handler(info); });
            },
            [name = QString::fromStdString(name)](QDBusConnection& bus, SignalReceiver* receiver) {
                bus.connect(QString(), kPath, kInterface, name, receiver,
                            SLOT(receive(QDBusMessage)));
            });
    }

    bool hasOwner(const std::string& busName) override {
        const auto answer = std::make_shared<std::promise<bool>>();
        std::future<bool> owned = answer->get_future();
        worker_->async([this, answer, name = QString::fromStdString(busName)] {
            answer->set_value(nameHasOwner(name));
        });
        return owned.wait_for(std::chrono::milliseconds(kBusMs)) == std::future_status::ready &&
               owned.get();
    }

    std::unique_ptr<Observation> observeOwner(const std::string& busName,
                                              std::function<void(bool hasOwner)> handler) override {
        const auto cancelled = std::make_shared<std::atomic<bool>>(false);
        return listen(
            cancelled,
            [this, cancelled, handler = std::move(handler)](const QDBusMessage& message) {
                const QString owner = message.arguments().value(2).toString();
                tell(cancelled, [handler, owned = !owner.isEmpty()] { handler(owned); });
            },
            [name = QString::fromStdString(busName)](QDBusConnection& bus,
                                                     SignalReceiver* receiver) {
                bus.connect(kBusService, kBusPath, kBusService, QStringLiteral("NameOwnerChanged"),
                            {name}, QString(), receiver, SLOT(receive(QDBusMessage)));
            });
    }

    void own(const std::string& busName, std::function<void(Claim)> told) override {
        worker_->async([this, name = QString::fromStdString(busName), told = std::move(told)] {
            const Claim claim = claimName(name);
            if (told) {
                tell(gone_, [told, claim] { told(claim); });
            }
        });
    }

    void handOver(const std::string& busName, const std::vector<std::string>& arguments,
                  std::function<void(bool taken)> told) override {
        QStringList list;
        for (const std::string& argument : arguments) {
            list.append(QString::fromStdString(argument));
        }
        QDBusMessage call = QDBusMessage::createMethodCall(
            QString::fromStdString(busName), objectPath(busName),
            QString::fromLatin1(HandOverReceiver::kInterface), QStringLiteral("handOver"));
        call << list;
        worker_->async([this, call, told = std::move(told)] {
            bool taken = false;
            if (isConnected("arguments are not handed over")) {
                taken = bus_->call(call, QDBus::Block, kHandOverMs).type() ==
                        QDBusMessage::ReplyMessage;
            }
            tell(gone_, [told, taken] { told(taken); });
        });
    }

    std::unique_ptr<Observation>
    receiveHandOvers(const std::string& busName,
                     std::function<void(std::vector<std::string>)> handler) override {
        const auto cancelled = std::make_shared<std::atomic<bool>>(false);
        const std::shared_ptr<HandOverReceiver> receiver(
            new HandOverReceiver(
                [this, cancelled, handler = std::move(handler)](const QStringList& arguments) {
                    tell(cancelled, [handler, texts = toTexts(arguments)] { handler(texts); });
                }),
            ReceiverEnd());
        worker_->async([this, cancelled, receiver, path = objectPath(busName)] {
            if (!*cancelled && isConnected("nothing can be handed over")) {
                bus_->registerObject(path, receiver.get(), QDBusConnection::ExportAllSlots);
            }
        });
        return std::make_unique<ReceiverObservation>(receiver, cancelled);
    }

  private:
    /// `connect`: makes the receiver hear of what it is for; on the worker.
    template <typename Connect>
    std::unique_ptr<Observation> listen(const Cancelled& cancelled,
                                        std::function<void(const QDBusMessage&)> handler,
                                        Connect connect) {
        const std::shared_ptr<SignalReceiver> receiver(new SignalReceiver(std::move(handler)),
                                                       ReceiverEnd());
        worker_->async([this, cancelled, receiver, connect = std::move(connect)] {
            if (!*cancelled && isConnected("nothing will be heard")) {
                connect(*bus_, receiver.get());
            }
        });
        return std::make_unique<ReceiverObservation>(receiver, cancelled);
    }

    template <typename Work>
    void tell(const Cancelled& cancelled, Work work) {
        main_->async([cancelled, work = std::move(work)] {
            if (!*cancelled) {
                work();
            }
        });
    }

    // From here on: on the worker.

    void connect(const QString& address) {
        bus_ = address.isEmpty()
                   ? QDBusConnection::connectToBus(QDBusConnection::SessionBus, connectionName_)
                   : QDBusConnection::connectToBus(address, connectionName_);
        if (!bus_->isConnected()) {
            qCDebug(lcBroadcast, "no session bus: %s", qPrintable(bus_->lastError().message()));
        }
    }

    bool isConnected(const char* otherwise) const {
        const bool connected = bus_->isConnected();
        if (!connected) {
            qCDebug(lcBroadcast, "no session bus: %s", otherwise);
        }
        return connected;
    }

    bool nameHasOwner(const QString& name) const {
        if (!isConnected("nobody has a name")) {
            return false;
        }
        QDBusMessage call = busCall("NameHasOwner");
        call << name;
        return bus_->call(call, QDBus::Block, kBusMs).arguments().value(0).toBool();
    }

    Claim claimName(const QString& name) const {
        if (!isConnected("a name is not asked for")) {
            return Claim::noBus;
        }
        QDBusMessage call = busCall("RequestName");
        call << name << kDoNotQueue;
        const QDBusMessage reply = bus_->call(call, QDBus::Block, kHandOverMs);
        if (reply.type() != QDBusMessage::ReplyMessage) {
            qCDebug(lcBroadcast, "no name from the bus: %s", qPrintable(reply.errorMessage()));
            return Claim::noBus;
        }
        const uint answer = reply.arguments().value(0).toUInt();
        return answer == kPrimaryOwner || answer == kAlreadyOwner ? Claim::owned : Claim::taken;
    }

    const std::shared_ptr<DispatchQueue> main_;
    const Cancelled gone_ = std::make_shared<std::atomic<bool>>(false);
    const QString connectionName_ =
        QStringLiteral("broadcast %1").arg(reinterpret_cast<quintptr>(this));
    std::optional<QDBusConnection> bus_; ///< set and used on the worker
    std::shared_ptr<DispatchQueue> worker_ = makeSerialQueue("broadcast");
};

} // namespace

std::unique_ptr<BroadcastCenter> makeBroadcastCenter(std::shared_ptr<DispatchQueue> main,
                                                     std::string address) {
    return std::make_unique<SessionBusCenter>(std::move(main), std::move(address));
}

} // namespace brindle::platform
