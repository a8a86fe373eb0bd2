// SPDX-License-Identifier: BSD-2-Clause
#include "vardex/companion/BrindleProcess.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QTimer>

#include <sys/syscall.h>
#include <unistd.h>

namespace brindle::vardex {
namespace {

const QString kPlace = QStringLiteral("contents/companions/brindle/brindle");
const QString kNationsVariable = QStringLiteral("BRINDLE_NATIONS_DB");

} // namespace

BrindleProcess::BrindleProcess(QString directory, QObject* parent)
    : QObject(parent), directory_(std::move(directory)) {}

BrindleProcess::~BrindleProcess() {
    watcher_.reset();
    if (descriptor_ >= 0) {
        close(descriptor_);
    }
}

QString BrindleProcess::program() const {
    return QDir(directory_).absoluteFilePath(kPlace);
}

QProcessEnvironment BrindleProcess::environmentFor(const QString& directory,
                                                   QProcessEnvironment environment) {
    const QString database =
        QDir::cleanPath(QDir(directory).absoluteFilePath(QStringLiteral(VARDEX_NATIONS_DATABASE)));
    if (environment.value(kNationsVariable).isEmpty() && QFileInfo(database).isFile()) {
        environment.insert(kNationsVariable, database);
    }
    return environment;
}

bool BrindleProcess::start() {
    if (isRunning()) {
        return true;
    }
    QProcess brindle;
    brindle.setProgram(program());
    brindle.setArguments({QStringLiteral("vardex")});
    brindle.setProcessEnvironment(
        environmentFor(directory_, QProcessEnvironment::systemEnvironment()));
    brindle.setStandardInputFile(QProcess::nullDevice());
    qint64 processId = 0;
    if (!brindle.startDetached(&processId)) {
        return false;
    }
    watch(processId);
    return true;
}

void BrindleProcess::watch(qint64 processId) {
    // It is nobody's child, so that it may outlive us: its descriptor tells when it ends.
    descriptor_ = static_cast<int>(syscall(SYS_pidfd_open, static_cast<pid_t>(processId), 0));
    if (descriptor_ < 0) {
        QTimer::singleShot(0, this, &BrindleProcess::ended);
        return;
    }
    watcher_ = std::make_unique<QSocketNotifier>(descriptor_, QSocketNotifier::Read);
    connect(watcher_.get(), &QSocketNotifier::activated, this, [this] {
        watcher_->setEnabled(false);
        watcher_.release()->deleteLater();
        close(descriptor_);
        descriptor_ = -1;
        emit ended();
    });
}

} // namespace brindle::vardex
