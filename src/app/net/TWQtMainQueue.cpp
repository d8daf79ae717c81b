// SPDX-License-Identifier: MIT
// The GUI thread's queue for Qt applications.
#include "TWQtMainQueue.h"

#include <QThread>

TWQtMainQueue::TWQtMainQueue() : context_(new QObject) {}

TWQtMainQueue::~TWQtMainQueue() {
    delete context_;
}

void TWQtMainQueue::dispatchSync(std::function<void()> work) {
    // A blocking queued call from the GUI thread to itself would deadlock.
    if (isMainThread()) {
        work();
        return;
    }
    QMetaObject::invokeMethod(
        context_, [&work] { work(); }, Qt::BlockingQueuedConnection);
}

bool TWQtMainQueue::isMainThread() const {
    return QThread::currentThread() == context_->thread();
}
