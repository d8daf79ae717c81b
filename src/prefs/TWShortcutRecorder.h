// SPDX-License-Identifier: MIT
// A field that records a key combination: clicked or focused, it waits for a combination and
// shows it; Escape cancels the recording, Backspace clears the field, a combination the desktops
// would not take as a global shortcut (no Ctrl, Alt or Meta, and not a function key) is refused.
#pragma once

#include <QPushButton>
#include <QString>

class TWShortcutRecorder : public QPushButton {
    Q_OBJECT

  public:
    explicit TWShortcutRecorder(QWidget* parent = nullptr);

    // The combination shown, as portable text; empty for none.
    const QString& keys() const { return keys_; }
    // Shows `keys` without announcing a change.
    void setKeys(const QString& keys);
    bool isRecording() const { return recording_; }
    void startRecording();

  signals:
    // The user recorded or cleared a combination (portable text, empty when cleared).
    void keysChanged(const QString& keys);
    // A combination was refused; `reason` says why, for the user.
    void refused(const QString& reason);

  protected:
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

  private:
    void stopRecording();
    void showKeys();
    void finish(const QString& keys);

    QString keys_;
    bool recording_ = false;
};
