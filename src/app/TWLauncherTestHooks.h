// SPDX-License-Identifier: MIT
// What the tidewell program offers for testing, kept apart from its wiring: the simulated
// desktop (--desktop=sim) with its in-memory stores and offline network, the journal of handled
// requests that --status prints, and the "menu <title>" request. See also TWLauncher.
#pragma once

#include "TWAlertPresenter.h"
#include "TWRequestJournal.h"

#include <QByteArray>
#include <QString>

#include <memory>
#include <string>

class QObject;
class TWHTTPTransport;
class TWLoginItemList;
class TWMenu;
class TWServiceManagement;
class TWSimDesktop;

class TWLauncherTestHooks {
  public:
    // A simulated desktop with a file manager and two applications, the last one in front, and
    // an empty request log, so that the actions have something to act on.
    static std::unique_ptr<TWSimDesktop> makeSimulatedDesktop();
    // Settings stores, the helper's registration and the login items in memory, for the
    // simulated desktop: a test run never touches the user's files.
    static void installInMemoryStores();
    static std::unique_ptr<TWServiceManagement> makeInMemoryServiceManagement();
    static std::unique_ptr<TWLoginItemList> makeInMemoryLoginItems();
    // A network transport that fails every request as if offline (answering on a thread of its
    // own, as a real transport does): a run on the simulated desktop never reaches a server.
    static std::shared_ptr<TWHTTPTransport> makeOfflineTransport();

    // `shown` presents the alerts; `simDesktop` (none on a real desktop) is listed in the
    // status answer. Both must outlive the hooks.
    TWLauncherTestHooks(TWAlertPresenter& shown, const TWSimDesktop* simDesktop);
    ~TWLauncherTestHooks();

    // The alert presenter for the application: notes each alert's message in the journal, then
    // shows the alert.
    TWAlertPresenter& alertPresenter();
    // Notes one handled request or event in the journal ("hide-all", "icon Classic", ...).
    void note(const QString& entry);
    // Forgets the newest entry: the request turned out unknown.
    void forgetLast();

    // The "menu <title>" request: chooses `menu`'s enabled item with this title as a click on it
    // does, queued on `context`'s thread (so the reply goes out before the item's work starts).
    // "ok", or "unknown" (logged, and the request forgotten) when no such item exists.
    QByteArray chooseMenuItem(const TWMenu& menu, const std::string& title, QObject* context);
    // The answer to "status": the journal, then the application show-all brings to the front,
    // the exclusion list's size and the simulated desktop's requests, within `maximumBytes`.
    QByteArray statusAnswer(int maximumBytes) const;

  private:
    class JournalingAlertPresenter;
    TWRequestJournal journal_;
    std::unique_ptr<JournalingAlertPresenter> alertPresenter_;
    const TWSimDesktop* simDesktop_;
};
