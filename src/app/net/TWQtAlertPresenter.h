// SPDX-License-Identifier: MIT
// Shows alerts as Qt message boxes.
#pragma once

#include "TWAlert.h"
#include "TWAlertPresenter.h"

class QWidget;

class TWQtAlertPresenter : public TWAlertPresenter {
  public:
    // Alerts are shown over `parent` (none: application-modal on their own).
    explicit TWQtAlertPresenter(QWidget* parent = nullptr) : parent_(parent) {}

    long runModal(const TWAlert& alert) override;

  private:
    QWidget* parent_;
};
