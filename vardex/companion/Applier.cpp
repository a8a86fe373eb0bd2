// SPDX-License-Identifier: BSD-2-Clause
#include "vardex/companion/Applier.h"

#include <unistd.h>

namespace brindle::vardex {
namespace {

/// Exit statuses of pkexec itself.
constexpr int kDismissed = 126;
constexpr int kNotAuthorized = 127;

const QString kRefused = QStringLiteral("refused ");
const QString kNotApplied = QStringLiteral("not applied: ");
constexpr auto kBetween = ": ";

} // namespace

Applier::Applier(QStringList command, QObject* parent)
    : QObject(parent), command_(std::move(command)) {
    process_.setStandardOutputFile(QProcess::nullDevice());
    connect(&process_, &QProcess::finished, this, &Applier::ended);
    // Not from within start(): whoever asked is not ready for the answer yet.
    connect(&process_, &QProcess::errorOccurred, this, &Applier::failedToStart,
            Qt::QueuedConnection);
}

Applier::~Applier() {
    // A run that was begun is carried through: it holds the last change, and takes moments unless
    // somebody is being asked for a password.
    process_.disconnect(this);
    if (isRunning() && !process_.waitForFinished(3000)) {
        process_.kill();
        process_.waitForFinished(1000);
    }
}

QStringList Applier::commandFor(const QString& directory) {
    const QString helper = directory + QStringLiteral("/vardex-apply");
    if (geteuid() == 0) {
        return {helper};
    }
    // Asked in a window, or not at all: nobody looks at the terminal of a desktop program.
    return {QStringLiteral("pkexec"), QStringLiteral("--disable-internal-agent"), helper};
}

void Applier::apply(const QByteArray& input) {
    process_.start(command_.first(), command_.mid(1));
    process_.write(input);
    process_.closeWriteChannel();
}

void Applier::failedToStart(QProcess::ProcessError error) {
    if (error == QProcess::FailedToStart) {
        emit finished({.applied = false,
                       .reason = tr("%1 cannot be started").arg(command_.first()),
                       .refused = {}});
    }
}

void Applier::ended() {
    emit finished(outcome());
}

ApplyOutcome Applier::outcome() {
    ApplyOutcome outcome;
    QString lastLine;
    const QStringList lines =
        QString::fromUtf8(process_.readAllStandardError()).split('\n', Qt::SkipEmptyParts);
    for (const QString& line : lines) {
        lastLine = line;
        if (line.startsWith(kNotApplied)) {
            outcome.reason = line.mid(kNotApplied.size());
        } else if (line.startsWith(kRefused)) {
            const auto end = line.indexOf(QLatin1String(kBetween));
            outcome.refused[line.mid(kRefused.size(), end - kRefused.size()).toStdString()] =
                line.mid(end + 2).toStdString();
        }
    }
    if (process_.exitStatus() != QProcess::NormalExit) {
        outcome.reason = tr("the helper crashed");
    } else if (process_.exitCode() == kDismissed) {
        outcome.reason = tr("the request for the right to do so was dismissed");
    } else if (process_.exitCode() == kNotAuthorized) {
        outcome.reason = tr("there is no right to do so");
    } else if (process_.exitCode() > 1 ||
               (process_.exitCode() == 1 && outcome.reason.isEmpty() && outcome.refused.empty())) {
        outcome.reason = lastLine.isEmpty() ? tr("the helper failed") : lastLine;
    }
    outcome.applied = outcome.reason.isEmpty();
    return outcome;
}

} // namespace brindle::vardex
