// SPDX-License-Identifier: MIT
// The key-combination field of the preferences.
#include "TWShortcutRecorder.h"

#include "TWKeyCombination.h"
#include "TWLocalizedString.h"

#include <QFocusEvent>
#include <QKeyEvent>
#include <QKeySequence>

namespace {

QString localized(const char* text) {
    return QString::fromStdString(TWLocalizedString(text));
}

bool isModifierKey(int key) {
    switch (key) {
    case Qt::Key_Shift:
    case Qt::Key_Control:
    case Qt::Key_Alt:
    case Qt::Key_AltGr:
    case Qt::Key_Meta:
    case Qt::Key_Super_L:
    case Qt::Key_Super_R:
    case Qt::Key_Hyper_L:
    case Qt::Key_Hyper_R:
        return true;
    default:
        return false;
    }
}

unsigned combinationModifiers(Qt::KeyboardModifiers modifiers) {
    unsigned bits = 0;
    if (modifiers & Qt::ControlModifier)
        bits |= TWKeyCombination::Control;
    if (modifiers & Qt::AltModifier)
        bits |= TWKeyCombination::Alt;
    if (modifiers & Qt::ShiftModifier)
        bits |= TWKeyCombination::Shift;
    if (modifiers & Qt::MetaModifier)
        bits |= TWKeyCombination::Meta;
    return bits;
}

// How portable text reads to the user ("Ctrl+Alt+H" in the desktop's own words).
QString nativeText(const QString& keys) {
    const QString native = QKeySequence::fromString(keys, QKeySequence::PortableText)
                               .toString(QKeySequence::NativeText);
    return native.isEmpty() ? keys : native;
}

} // namespace

TWShortcutRecorder::TWShortcutRecorder(QWidget* parent) : QPushButton(parent) {
    setFocusPolicy(Qt::StrongFocus);
    // As wide as its widest text, so that it keeps its size while recording.
    setMinimumWidth(fontMetrics().horizontalAdvance(localized("Press a combination...")) +
                    fontMetrics().averageCharWidth() * 6);
    connect(this, &QPushButton::clicked, this, [this] {
        if (!recording_)
            startRecording();
    });
    showKeys();
}

void TWShortcutRecorder::setKeys(const QString& keys) {
    keys_ = keys;
    showKeys();
}

void TWShortcutRecorder::startRecording() {
    if (recording_)
        return;
    recording_ = true;
    // While recording, combinations that are someone's global shortcut (Tidewell's own among
    // them) come here rather than to their owner.
    grabKeyboard();
    showKeys();
}

void TWShortcutRecorder::stopRecording() {
    if (!recording_)
        return;
    recording_ = false;
    releaseKeyboard();
    showKeys();
}

void TWShortcutRecorder::finish(const QString& keys) {
    stopRecording();
    if (keys == keys_)
        return;
    keys_ = keys;
    showKeys();
    emit keysChanged(keys_);
}

void TWShortcutRecorder::showKeys() {
    QString shown;
    if (recording_)
        shown = localized("Press a combination...");
    else if (keys_.isEmpty())
        shown = localized("None");
    else
        shown = nativeText(keys_);
    setText(shown);
    setAccessibleDescription(shown);
}

void TWShortcutRecorder::keyPressEvent(QKeyEvent* event) {
    const int key = event->key();
    const Qt::KeyboardModifiers modifiers =
        event->modifiers() &
        (Qt::ControlModifier | Qt::AltModifier | Qt::ShiftModifier | Qt::MetaModifier);
    if (key == Qt::Key_Backspace && modifiers == Qt::NoModifier) {
        finish(QString());
        return;
    }
    if (!recording_) {
        QPushButton::keyPressEvent(event);
        return;
    }
    if (key == Qt::Key_Escape && modifiers == Qt::NoModifier) {
        stopRecording();
        return;
    }
    if (isModifierKey(key) || key == 0 || key == Qt::Key_unknown) {
        // The modifiers held so far, while the key is still to come.
        const QString held = QKeySequence(modifiers).toString(QKeySequence::NativeText);
        setText(held.isEmpty() ? localized("Press a combination...")
                               : held + QStringLiteral("..."));
        return;
    }
    TWKeyCombination combination;
    combination.modifiers = combinationModifiers(modifiers);
    combination.key = QKeySequence(key).toString(QKeySequence::PortableText).toStdString();
    const auto normal = TWKeyCombination::parse(combination.text());
    if (!normal || !normal->isGlobalShortcut()) {
        stopRecording();
        emit refused(localized("A shortcut needs Ctrl, Alt or Meta, unless it is a function key "
                               "(F1 to F35)."));
        return;
    }
    finish(QString::fromStdString(normal->text()));
}

void TWShortcutRecorder::keyReleaseEvent(QKeyEvent* event) {
    if (!recording_)
        QPushButton::keyReleaseEvent(event);
}

void TWShortcutRecorder::focusInEvent(QFocusEvent* event) {
    QPushButton::focusInEvent(event);
    // Reaching the field from the keyboard starts a recording; the window's own activation, which
    // may put the focus here, does not.
    if (event->reason() == Qt::TabFocusReason || event->reason() == Qt::BacktabFocusReason ||
        event->reason() == Qt::ShortcutFocusReason)
        startRecording();
}

void TWShortcutRecorder::focusOutEvent(QFocusEvent* event) {
    // A recording ends with the focus; a popup (an input method's) leaves it running.
    if (event->reason() != Qt::PopupFocusReason)
        stopRecording();
    QPushButton::focusOutEvent(event);
}
