// SPDX-License-Identifier: MIT
// The exclusion list over desktop entries in a temporary data directory.
#include "ExcludeController.h"
#include "TWFailingStore.h"
#include "TWSettings.h"
#include "TWSimDefaultsStore.h"
#include "TWSimDesktop.h"
#include "TWTestApplication.h"
#include "TWUserDefaults.h"

#include <QFileDialog>
#include <QLabel>
#include <QMimeData>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableView>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace {

using Lines = std::vector<std::string>;

class ExcludeTest : public ::testing::Test {
  protected:
    ExcludeTest() { std::filesystem::create_directories(data + "/applications/kde"); }

    // A desktop entry at `path` (in the applications folder when relative) ending in `rest`.
    std::string entry(std::string path, const std::string& name,
                      const std::string& rest = "Exec=true\nIcon=xterm\n",
                      const std::string& type = "Application") {
        path = path[0] == '/' ? path : data + "/applications/" + path;
        std::ofstream(path) << "[Desktop Entry]\nType=" << type << "\nName=" << name
                            << "\nName[de]=" << name << " (de)\n"
                            << rest;
        return path;
    }
    // A controller once its rows are rebuilt from the store, its pane built.
    std::unique_ptr<ExcludeController> makeController() {
        auto controller = std::make_unique<ExcludeController>(
            TWExcludeServices{&shared, &desktop.systemSound(), {data}});
        QSignalSpy resolved(controller.get(), &ExcludeController::excludedItemsResolved);
        EXPECT_TRUE(resolved.wait(5000));
        controller->view();
        return controller;
    }
    // The identifiers stored, in order; the records never hold where the entry is or its icon.
    Lines storedIDs() {
        Lines ids;
        for (const TWPlistValue& value :
             shared.arrayForKey(TWExcludedAppsKey).value_or(TWPlistArray{})) {
            const auto& record = *value.get<TWPlistDictionary>();
            EXPECT_FALSE(record.count(TWExcludedURLField) || record.count(TWExcludedIconField));
            ids.push_back(*record.at(TWExcludedBundleIDField).get<std::string>());
        }
        return ids;
    }

    QApplication& application = TWTestApplication();
    QTemporaryDir dir;
    std::string data = dir.path().toStdString() + "/data";
    TWSimDesktop desktop;
    std::shared_ptr<TWFailingStore> store = std::make_shared<TWFailingStore>();
    TWUserDefaults shared{store};
};

TEST_F(ExcludeTest, ChosenAddedAndDroppedApplicationsAreAppendedAndSeveralRowsRemovedAtOnce) {
    auto controller = makeController();
    // The chooser: non-modal.
    QFileDialog* chooser = controller->excludeAddAction();
    EXPECT_TRUE(chooser->isVisible() && chooser->windowModality() == Qt::NonModal);
    const std::string xterm = entry("xterm.desktop", "XTerm");
    chooser->selectFile(QString::fromStdString(xterm));
    static_cast<QDialog*>(chooser)->accept();
    // The same application again: a second row and record, named in the language of the day.
    setenv("LC_ALL", "de_DE.UTF-8", 1);
    EXPECT_TRUE(controller->addApplication(xterm));
    unsetenv("LC_ALL");
    EXPECT_EQ(storedIDs(), (Lines{"xterm", "xterm"}));
    EXPECT_EQ(controller->data(controller->index(1, 0), Qt::DisplayRole).toString(), "XTerm (de)");
    EXPECT_EQ(controller->excludeTableView()->selectionModel()->selectedRows(),
              QModelIndexList{controller->index(1, 0)});
    EXPECT_TRUE(controller->excludeRemoveButton()->isEnabled());

    QMimeData drop;
    auto file = [](const std::string& path) {
        return QUrl::fromLocalFile(QString::fromStdString(path));
    };
    drop.setUrls({file(entry("kde/konsole.desktop", "Konsole")),
                  file(entry("link.desktop", "Web", "Exec=true\n", "Link")),
                  QUrl("https://example.org/a.desktop"), file(entry("gedit.desktop", "Editor"))});
    // Dropped on the first row: still appended at the end, a beep for each item that is no
    // application (the link entry, the web address).
    EXPECT_TRUE(controller->dropMimeData(&drop, Qt::CopyAction, 0, 0, controller->index(0, 0)));
    EXPECT_EQ(storedIDs(), (Lines{"xterm", "xterm", "kde-konsole", "gedit"}));
    EXPECT_EQ(desktop.log(), (Lines{"beep", "beep"}));
    EXPECT_FALSE(controller->statusLine()->isHidden());
    EXPECT_EQ(controller->statusLine()->text().toStdString(),
              "https://example.org/a.desktop is not an application.");

    // Tab leaves the list rather than walking its rows.
    QTableView* table = controller->excludeTableView();
    controller->view()->show();
    ASSERT_TRUE(QTest::qWaitForWindowActive(controller->view()));
    table->setFocus();
    table->setCurrentIndex(controller->index(0, 0));
    QTest::keyClick(table, Qt::Key_Tab);
    EXPECT_FALSE(table->hasFocus());
    EXPECT_EQ(table->currentIndex().row(), 0);
    // The first two removed together by the Delete key (removed from the top down, the third
    // would go instead).
    table->selectionModel()->select(
        QItemSelection(controller->index(0, 0), controller->index(1, 0)),
        QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    QTest::keyClick(table, Qt::Key_Delete);
    EXPECT_EQ(storedIDs(), (Lines{"kde-konsole", "gedit"}));
}

TEST_F(ExcludeTest, AnEntryFromOutsideTheApplicationsFoldersStandsForTheInstalledApplication) {
    auto controller = makeController();
    entry("xterm.desktop", "XTerm", "Exec=xterm -ls\n");
    entry("kde/org.kde.konsole.desktop", "Konsole", "Exec=konsole\nStartupWMClass=konsole\n");
    // Copies on the desktop: found by the program they start, by their window class; a third
    // names nothing installed and is refused with the reason.
    const std::string desktopFolder = dir.path().toStdString() + "/Desktop/";
    std::filesystem::create_directories(desktopFolder);
    entry(desktopFolder + "XTerm.desktop", "My XTerm", "Exec=env A=1 /usr/bin/xterm\n");
    entry(desktopFolder + "term.desktop", "Term", "Exec=/opt/k/bin/k\nStartupWMClass=konsole\n");
    entry(desktopFolder + "mine.desktop", "Mine", "Exec=/opt/mine\n");
    for (const char* copy : {"XTerm.desktop", "term.desktop"})
        EXPECT_TRUE(controller->addApplication(desktopFolder + copy)) << copy;
    EXPECT_FALSE(controller->addApplication(desktopFolder + "mine.desktop"));
    EXPECT_EQ(storedIDs(), (Lines{"xterm", "kde-org.kde.konsole"}));
    EXPECT_EQ(controller->data(controller->index(0, 0), Qt::DisplayRole).toString(), "XTerm");
    EXPECT_EQ(desktop.log(), Lines{"beep"});
    EXPECT_EQ(controller->statusLine()->text().toStdString(),
              "mine.desktop is not an application installed on this computer.");
}

TEST_F(ExcludeTest, RemovingRewritesTheStoreAndDropsRecordsThatNoLongerResolve) {
    const std::string xterm = entry("xterm.desktop", "XTerm");
    const std::string gone = entry("gone.desktop", "Gone");
    {
        auto first = makeController();
        first->addApplication(xterm);
        first->addApplication(gone);
    }
    std::filesystem::remove(gone);
    // An entry moved aside and replaced by a new file is found again by its ID; a deleted one not.
    std::filesystem::rename(xterm, data + "/applications/kde/xterm.desktop");
    entry("xterm.desktop", "XTerm", "Exec=xterm\n");
    auto controller = makeController();
    ASSERT_EQ(controller->rowCount(), 1);
    EXPECT_EQ(controller->resolveExcludeItems()[0].URL, xterm);

    controller->excludeTableView()->selectionModel()->clear();
    controller->excludeRemoveAction(); // nothing selected: nothing removed, store rewritten
    EXPECT_EQ(storedIDs(), Lines{"xterm"});
    EXPECT_FALSE(controller->excludeRemoveButton()->isEnabled());
    // A store that cannot be written: the row comes back, and the pane says why.
    store->readOnly = true;
    controller->excludeTableView()->selectRow(0);
    QSignalSpy resolved(controller.get(), &ExcludeController::excludedItemsResolved);
    controller->excludeRemoveButton()->click();
    ASSERT_TRUE(resolved.wait(5000));
    EXPECT_EQ(controller->rowCount(), 1);
    EXPECT_EQ(controller->statusLine()->text().toStdString(),
              "The change could not be saved: the settings file cannot be written.");
    store->readOnly = false;
    controller->excludeTableView()->selectRow(0);
    controller->excludeRemoveButton()->click();
    EXPECT_EQ(storedIDs(), Lines{});
}

} // namespace
