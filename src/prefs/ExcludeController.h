// SPDX-License-Identifier: MIT
// The Exclude pane: the list of applications that hide-others never hides, edited by a file
// chooser, by drag and drop of application entries and by removing rows; written to the store
// shared with the menu-bar helper after every change.
#pragma once

#include "TWPropertyList.h"

#include <QAbstractTableModel>
#include <QIcon>
#include <QPointer>
#include <QWidget>

#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

class QFileDialog;
class QLabel;
class QPushButton;
class QTableView;
class QWidget;
class TWSystemSound;
class TWUserDefaults;

struct TWExcludeServices {
    TWUserDefaults* sharedDefaults = nullptr;
    TWSystemSound* systemSound = nullptr;
    // The XDG data directories (applications live in their applications/ folders); empty =
    // the session's own.
    std::vector<std::string> dataDirectories;
};

class ExcludeController : public QAbstractTableModel {
    Q_OBJECT

  public:
    // One row of the list: the stored record ("URLData", "name", "BundleID") and, in memory
    // only, where the entry is now and its icon.
    struct Row {
        TWPlistDictionary record;
        std::string URL;
        QIcon icon;
    };

    // An independent controller; starts rebuilding its rows from the store in the background.
    explicit ExcludeController(TWExcludeServices services, QObject* parent = nullptr);
    ~ExcludeController() override;

    // The services the shared instance is made with.
    static void configureShared(TWExcludeServices services);
    // The shared instance: the first call of init() ever made it; later calls make none (null).
    static ExcludeController* init();
    // The shared instance, made by init() when there is none.
    static ExcludeController* sharedInstance();
    // The shared instance when it has been made, without making it.
    static ExcludeController* existingInstance();

    // The pane (the table, its add and remove buttons), built on first use.
    QWidget* view();
    QTableView* excludeTableView();
    QPushButton* excludeAddButton();
    QPushButton* excludeRemoveButton();
    // The pane's line saying why the last item was refused (hidden until one is).
    QLabel* statusLine() {
        view();
        return statusLine_;
    }

    // Opens the chooser for application entries (non-modal); the chosen one is added.
    QFileDialog* excludeAddAction();
    // Validates and appends the entry at `path`; the system beep (and nothing stored) when it
    // yields no bookmark, no name or no identifier. An entry outside the applications folders
    // stands for the installed one that starts the same application; none such is refused.
    // True when a row was added.
    bool addApplication(const std::string& path);
    // Removes the selected rows (none selected: removes nothing) and writes the list.
    void excludeRemoveAction();
    // Appends the entries of a drop, in order, and selects from the old end of the list as many
    // rows as file URLs were dropped.
    void acceptDrop(const QList<QUrl>& urls);
    // Whether `path` names an application (a desktop entry of type Application).
    static bool isApplicationAtURL(const std::string& path);
    // Writes the rows to the shared store (without "URL" and "Icon"). When that fails, the rows
    // are rebuilt from the store and the pane says the change was not saved.
    void syncArrayWithPrefs();
    // Rebuilds the rows from the shared store on a background thread; applied on this thread.
    void resolveExcludedItems();

    const std::vector<Row>& resolveExcludeItems() const { return rows_; }
    // The applications folders of the data directories that exist, most important first.
    std::vector<std::string> applicationsFolders() const;

    // The table model: one column ("name"), icon and name.
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QStringList mimeTypes() const override;
    Qt::DropActions supportedDropActions() const override;
    bool canDropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                         const QModelIndex& parent) const override;
    bool dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                      const QModelIndex& parent) override;

  protected:
    // Delete and Backspace in the list remove the selected rows.
    bool eventFilter(QObject* watched, QEvent* event) override;

  signals:
    // The rows were rebuilt from the store.
    void excludedItemsResolved();

  private:
    struct ResolvedRecord {
        TWPlistDictionary record;
        std::string URL;
        std::string iconName;
    };
    static std::vector<ResolvedRecord> resolveRecords(const std::optional<TWPlistArray>& stored,
                                                      const std::vector<std::string>& dataDirs);
    static QIcon iconForEntry(const std::string& iconName);
    void applyResolvedRecords(std::vector<ResolvedRecord> records);
    // The installed entry a chosen one stands for: itself inside the applications folders, else
    // the installed entry of the same application; empty when there is none.
    static std::string installedEntryFor(const std::string& path,
                                         const std::vector<std::string>& dataDirs);
    // The system beep, and the reason on the pane.
    void refuse(const QString& why);
    void selectRows(int first, int count);

    TWExcludeServices services_;
    std::vector<Row> rows_;
    std::thread rebuild_;
    // The newest rebuild's result, from its thread to the main thread.
    std::mutex handOffMutex_;
    std::optional<std::vector<ResolvedRecord>> handedOver_;
    QPointer<QWidget> view_;
    QTableView* table_ = nullptr;
    QPushButton* addButton_ = nullptr;
    QPushButton* removeButton_ = nullptr;
    QLabel* statusLine_ = nullptr;
};
