// SPDX-License-Identifier: MIT
// The alert model: message, informative text, buttons and style, shown by a presenter.
#pragma once

#include "TWAlertPresenter.h"
#include "TWError.h"
#include "TWFormat.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

enum TWAlertStyle : long {
    TWAlertStyleWarning = 0,
    TWAlertStyleInformational = 1,
    TWAlertStyleCritical = 2,
};

// What running an alert returns, by the order in which buttons were added.
inline constexpr long TWAlertFirstButtonReturn = 1000;
inline constexpr long TWAlertSecondButtonReturn = 1001;
inline constexpr long TWAlertThirdButtonReturn = 1002;

class TWAlert {
  public:
    // A new alert from a message, up to three button titles (added in this order, each only
    // when non-empty) and a printf-style informative text ("%@" for strings). An empty or
    // missing format leaves the informative text unset and ignores the arguments.
    template <class... Args>
    static std::shared_ptr<TWAlert>
    ov_alertWithMessageText(const std::optional<std::string>& messageText,
                            const std::optional<std::string>& defaultButton,
                            const std::optional<std::string>& alternateButton,
                            const std::optional<std::string>& otherButton,
                            const std::optional<std::string>& format, const Args&... args) {
        return ov_alertWithMessageTextArguments(
            messageText, defaultButton, alternateButton, otherButton, format,
            std::vector<TWFormatArg>{tw_detail::toFormatArg(args)...});
    }
    // ov_alertWithMessageText with its format arguments already collected.
    static std::shared_ptr<TWAlert>
    ov_alertWithMessageTextArguments(const std::optional<std::string>& messageText,
                                     const std::optional<std::string>& defaultButton,
                                     const std::optional<std::string>& alternateButton,
                                     const std::optional<std::string>& otherButton,
                                     const std::optional<std::string>& format,
                                     const std::vector<TWFormatArg>& args);

    // An alert for `error`: message from its localized description, informative text from its
    // recovery suggestion, buttons from its recovery options in order. Warning style.
    static std::shared_ptr<TWAlert> alertWithError(const TWError& error);

    // The bold message; nothing when never set.
    const std::optional<std::string>& messageText() const { return messageText_; }
    void setMessageText(std::string text) { messageText_ = std::move(text); }
    // The smaller text under the message; nothing when never set.
    const std::optional<std::string>& informativeText() const { return informativeText_; }
    void setInformativeText(std::string text) { informativeText_ = std::move(text); }
    // Button titles in the order they were added.
    const std::vector<std::string>& buttons() const { return buttons_; }
    void addButtonWithTitle(std::string title) { buttons_.push_back(std::move(title)); }
    TWAlertStyle alertStyle() const { return alertStyle_; }
    void setAlertStyle(TWAlertStyle style) { alertStyle_ = style; }

    // Shows the alert through `presenter` and returns the code of the button chosen.
    long runModal(TWAlertPresenter& presenter) const { return presenter.runModal(*this); }

  private:
    std::optional<std::string> messageText_;
    std::optional<std::string> informativeText_;
    std::vector<std::string> buttons_;
    TWAlertStyle alertStyle_ = TWAlertStyleWarning;
};
