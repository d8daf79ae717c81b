// SPDX-License-Identifier: MIT
// Shows alerts as Qt message boxes.
#include "TWQtAlertPresenter.h"

#include "TWLocalizedString.h"
#include "TWProduct.h"

#include <QAbstractButton>
#include <QMessageBox>
#include <QPushButton>

namespace {

QMessageBox::Icon iconForStyle(TWAlertStyle style) {
    switch (style) {
    case TWAlertStyleInformational:
        return QMessageBox::Information;
    case TWAlertStyleCritical:
        return QMessageBox::Critical;
    case TWAlertStyleWarning:
        break;
    }
    return QMessageBox::Warning;
}

} // namespace

long TWQtAlertPresenter::runModal(const TWAlert& alert) {
    QMessageBox box(parent_);
    box.setWindowTitle(QString::fromUtf8(TWBundleName));
    box.setIcon(iconForStyle(alert.alertStyle()));
    box.setText(QString::fromStdString(alert.messageText().value_or(std::string())));
    if (alert.informativeText())
        box.setInformativeText(QString::fromStdString(*alert.informativeText()));

    std::vector<std::string> titles = alert.buttons();
    if (titles.empty())
        titles.push_back(TWLocalizedString("OK"));

    // One role for all buttons keeps them in the order they were added.
    QList<QPushButton*> buttons;
    QPushButton* escape = nullptr;
    const std::string cancel = TWLocalizedString("Cancel");
    for (const std::string& title : titles) {
        QPushButton* button = box.addButton(QString::fromStdString(title), QMessageBox::ActionRole);
        buttons.append(button);
        if (!escape && title == cancel)
            escape = button;
    }
    box.setDefaultButton(buttons.first());
    // Escape means "Cancel" when there is one; with a single button it means that button.
    if (!escape && buttons.size() == 1)
        escape = buttons.first();
    if (escape)
        box.setEscapeButton(escape);

    box.exec();

    qsizetype index = buttons.indexOf(static_cast<QPushButton*>(box.clickedButton()));
    if (index < 0) {
        // Closed without a button (the window closed from outside): the least committal
        // answer, the escape button or else the last one.
        index = escape ? buttons.indexOf(escape) : buttons.size() - 1;
    }
    return TWAlertFirstButtonReturn + static_cast<long>(index);
}
