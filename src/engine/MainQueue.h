#pragma once

#include <QMetaObject>
#include <QObject>

#include <utility>

namespace vela {

/// Runs `work` later on the thread of `context` (the main thread for every engine object),
/// after the events already queued there. Safe from any thread.
template <typename Work>
void runOnMainQueue(QObject* context, Work&& work) {
    QMetaObject::invokeMethod(context, std::forward<Work>(work), Qt::QueuedConnection);
}

}  // namespace vela
