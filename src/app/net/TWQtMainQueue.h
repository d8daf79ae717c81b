// SPDX-License-Identifier: MIT
// The GUI thread's queue for Qt applications.
#pragma once

#include "TWMainQueue.h"

#include <QObject>

class TWQtMainQueue : public TWMainQueue {
  public:
    // Must be created on the GUI thread, after the application object.
    TWQtMainQueue();
    ~TWQtMainQueue() override;

    TWQtMainQueue(const TWQtMainQueue&) = delete;
    TWQtMainQueue& operator=(const TWQtMainQueue&) = delete;

    void dispatchSync(std::function<void()> work) override;
    bool isMainThread() const override;

  private:
    QObject* context_; // lives on the GUI thread
};
