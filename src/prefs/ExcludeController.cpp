// SPDX-License-Identifier: MIT
// The Exclude pane: rows, chooser, drag and drop, write-back and the background rebuild.
#include "ExcludeController.h"

#include "CustomIconCell.h"
#include "TWBookmark.h"
#include "TWDesktopEntryIndex.h"
#include "TWLocalizedString.h"
#include "TWSettings.h"
#include "TWSystemSound.h"
#include "TWUserDefaults.h"

#include <QApplication>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QKeyEvent>
#include <QLabel>
#include <QMimeData>
#include <QPainter>
#include <QPushButton>
#include <QStyle>
#include <QTableView>
#include <QUrl>
#include <QVBoxLayout>

#include <sys/stat.h>

namespace {

QString localized(const char* text) {
    return QString::fromStdString(TWLocalizedString(text));
}

struct SharedState {
    std::mutex mutex;
    TWExcludeServices services;
    ExcludeController* instance = nullptr;
    bool initialised = false;
};

SharedState& shared() {
    static SharedState state;
    return state;
}

std::vector<std::string> dataDirectoriesOf(const TWExcludeServices& services) {
    return services.dataDirectories.empty() ? TWDesktopEntryIndex::dataDirectories()
                                            : services.dataDirectories;
}

bool insideApplicationsFolders(const std::string& path, const std::vector<std::string>& dataDirs) {
    for (const std::string& dir : dataDirs) {
        const std::string folder = dir + "/applications/";
        if (path.size() > folder.size() && path.compare(0, folder.size(), folder) == 0)
            return true;
    }
    return false;
}

// The list: drops append, so the marker shown while dragging is a line after the last row,
// never a frame around the row under the pointer.
class TWExcludeTableView : public QTableView {
  public:
    using QTableView::QTableView;

    QRect appendMarker() const {
        const int rows = model() ? model()->rowCount() : 0;
        const int y = rows > 0 ? rowViewportPosition(rows - 1) + rowHeight(rows - 1) : 0;
        return QRect(0, std::max(0, y - 1), viewport()->width(), 2);
    }

  protected:
    void dragEnterEvent(QDragEnterEvent* event) override {
        QTableView::dragEnterEvent(event);
        setDropping(event->isAccepted());
    }
    void dragMoveEvent(QDragMoveEvent* event) override {
        QTableView::dragMoveEvent(event);
        setDropping(event->isAccepted());
    }
    void dragLeaveEvent(QDragLeaveEvent* event) override {
        QTableView::dragLeaveEvent(event);
        setDropping(false);
    }
    void dropEvent(QDropEvent* event) override {
        setDropping(false);
        QTableView::dropEvent(event);
    }
    void paintEvent(QPaintEvent* event) override {
        QTableView::paintEvent(event);
        if (!dropping_)
            return;
        QPainter painter(viewport());
        painter.fillRect(appendMarker(), palette().color(QPalette::Highlight));
    }

  private:
    void setDropping(bool on) {
        if (dropping_ != on) {
            dropping_ = on;
            viewport()->update();
        }
    }
    bool dropping_ = false;
};

} // namespace

ExcludeController::ExcludeController(TWExcludeServices services, QObject* parent)
    : QAbstractTableModel(parent), services_(std::move(services)) {
    rows_.reserve(10);
    resolveExcludedItems();
}

ExcludeController::~ExcludeController() {
    // The rebuild never waits for this thread, so joining it cannot deadlock; a result it
    // queued for this object is dropped with the object.
    if (rebuild_.joinable())
        rebuild_.join();
    delete view_;
}

void ExcludeController::configureShared(TWExcludeServices services) {
    std::lock_guard lock(shared().mutex);
    shared().services = std::move(services);
}

ExcludeController* ExcludeController::init() {
    TWExcludeServices services;
    {
        std::lock_guard lock(shared().mutex);
        if (shared().initialised)
            return nullptr;
        shared().initialised = true;
        services = shared().services;
    }
    // Lives until the process ends, like the application it serves.
    auto* controller = new ExcludeController(std::move(services));
    std::lock_guard lock(shared().mutex);
    shared().instance = controller;
    return controller;
}

ExcludeController* ExcludeController::sharedInstance() {
    {
        std::lock_guard lock(shared().mutex);
        if (shared().initialised)
            return shared().instance;
    }
    return init();
}

ExcludeController* ExcludeController::existingInstance() {
    std::lock_guard lock(shared().mutex);
    return shared().instance;
}

// ----------------------------------------------------------------------------- the pane

QWidget* ExcludeController::view() {
    if (view_)
        return view_;
    view_ = new QWidget;
    auto* layout = new QVBoxLayout(view_);
    auto* label = new QLabel(localized("Tidewell never hides these applications:"), view_);
    table_ = new TWExcludeTableView(view_);
    table_->setModel(this);
    table_->setAccessibleName(localized("Excluded applications"));
    label->setBuddy(table_);
    table_->setItemDelegateForColumn(0, new CustomIconCell(table_));
    table_->horizontalHeader()->setVisible(false);
    table_->horizontalHeader()->setStretchLastSection(true);
    table_->verticalHeader()->setVisible(false);
    table_->verticalHeader()->setDefaultSectionSize(22);
    table_->setShowGrid(false);
    table_->setSelectionBehavior(QAbstractItemView::SelectRows);
    table_->setSelectionMode(QAbstractItemView::ExtendedSelection);
    table_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table_->setDragDropMode(QAbstractItemView::DropOnly);
    table_->setAcceptDrops(true);
    table_->setDropIndicatorShown(false); // the table draws where a drop goes: the end
    // Tab leaves the list; Delete and Backspace remove the selected rows.
    table_->setTabKeyNavigation(false);
    table_->installEventFilter(this);

    addButton_ = new QPushButton(localized("Add..."), view_);
    removeButton_ = new QPushButton(localized("Remove"), view_);
    addButton_->setAccessibleName(addButton_->text());
    removeButton_->setAccessibleName(removeButton_->text());
    removeButton_->setEnabled(false);
    connect(addButton_, &QPushButton::clicked, this, [this] { excludeAddAction(); });
    connect(removeButton_, &QPushButton::clicked, this, [this] { excludeRemoveAction(); });
    connect(table_->selectionModel(), &QItemSelectionModel::selectionChanged, this, [this] {
        removeButton_->setEnabled(table_->selectionModel()->selectedRows().size() > 0);
    });

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(addButton_);
    buttons->addWidget(removeButton_);
    buttons->addStretch(1);
    statusLine_ = new QLabel(view_);
    statusLine_->setWordWrap(true);
    statusLine_->setAccessibleName(localized("Status"));
    statusLine_->hide();
    layout->addWidget(label);
    layout->addWidget(table_, 1);
    layout->addLayout(buttons);
    layout->addWidget(statusLine_);
    view_->resize(view_->sizeHint().width(), 360);
    return view_;
}

QTableView* ExcludeController::excludeTableView() {
    view();
    return table_;
}

QPushButton* ExcludeController::excludeAddButton() {
    view();
    return addButton_;
}

QPushButton* ExcludeController::excludeRemoveButton() {
    view();
    return removeButton_;
}

std::vector<std::string> ExcludeController::applicationsFolders() const {
    std::vector<std::string> folders;
    for (const std::string& dir : dataDirectoriesOf(services_)) {
        struct stat st {};
        const std::string folder = dir + "/applications";
        if (stat(folder.c_str(), &st) == 0 && S_ISDIR(st.st_mode))
            folders.push_back(folder);
    }
    return folders;
}

QFileDialog* ExcludeController::excludeAddAction() {
    auto* chooser = new QFileDialog(view_ ? view_->window() : nullptr);
    chooser->setAttribute(Qt::WA_DeleteOnClose);
    chooser->setWindowModality(Qt::NonModal);
    chooser->setFileMode(QFileDialog::ExistingFile);
    chooser->setAcceptMode(QFileDialog::AcceptOpen);
    chooser->setNameFilter(localized("Applications (*.desktop)"));
    chooser->setLabelText(QFileDialog::Accept, localized("Select"));
    QList<QUrl> places;
    for (const std::string& folder : applicationsFolders())
        places << QUrl::fromLocalFile(QString::fromStdString(folder));
    if (!places.isEmpty()) {
        chooser->setDirectoryUrl(places.front());
        chooser->setSidebarUrls(places);
    }
    connect(chooser, &QFileDialog::fileSelected, this, [this](const QString& file) {
        if (view_)
            statusLine_->hide();
        addApplication(file.toStdString());
    });
    chooser->show();
    return chooser;
}

// ----------------------------------------------------------------------------- editing

bool ExcludeController::isApplicationAtURL(const std::string& path) {
    return TWDesktopEntryIndex::parseFile(path, {}).has_value();
}

QIcon ExcludeController::iconForEntry(const std::string& iconName) {
    static const QIcon generic =
        QIcon::fromTheme(QStringLiteral("application-x-executable"),
                         QApplication::style()->standardIcon(QStyle::SP_FileIcon));
    if (iconName.empty())
        return generic;
    const QString name = QString::fromStdString(iconName);
    if (name.startsWith('/'))
        return QIcon(name);
    return QIcon::fromTheme(name, generic);
}

std::string ExcludeController::installedEntryFor(const std::string& path,
                                                 const std::vector<std::string>& dataDirs) {
    if (insideApplicationsFolders(path, dataDirs))
        return path;
    // A copy elsewhere (on the desktop, say) names no application by its file name: the
    // application is the installed entry that is matched the same way its windows are, by
    // StartupWMClass, else by the program its Exec starts.
    const std::optional<TWDesktopEntry> copy = TWDesktopEntryIndex::parseFile(path, {});
    if (!copy)
        return {};
    const TWDesktopEntryIndex index(dataDirs);
    const TWDesktopEntry* installed = nullptr;
    if (!copy->startupWMClass.empty())
        if (auto id = index.ownIdentity({{}, {}, copy->startupWMClass, copy->startupWMClass, {}}))
            installed = index.entryForID(*id);
    if (!installed)
        installed = index.mainEntryForProgram(TWDesktopEntryIndex::programOf(copy->exec));
    return installed ? installed->path : std::string();
}

void ExcludeController::refuse(const QString& why) {
    services_.systemSound->beep();
    if (view_) {
        statusLine_->setText(why);
        statusLine_->show();
    }
}

bool ExcludeController::addApplication(const std::string& chosen) {
    const std::vector<std::string> dataDirs = dataDirectoriesOf(services_);
    const QString fileName = QString::fromStdString(chosen).section('/', -1);
    const std::string path = installedEntryFor(chosen, dataDirs);
    if (path.empty()) {
        refuse(localized("%1 is not an application installed on this computer.").arg(fileName));
        return false;
    }
    const std::string id = TWDesktopEntryIndex::idForPath(path, dataDirs);
    const std::optional<TWDesktopEntry> entry = TWDesktopEntryIndex::parseFile(path, id);
    const std::optional<TWPlistData> bookmark = TWBookmark::create(path, id);
    const std::string name = entry ? TWDesktopEntryIndex::localizedName(*entry) : std::string();
    if (!bookmark || name.empty() || !entry || id.empty()) {
        refuse(localized("%1 is not an application.").arg(fileName));
        return false;
    }
    Row row;
    row.record[TWExcludedURLDataField] = *bookmark;
    row.record[TWExcludedNameField] = name;
    row.URL = path;
    row.record[TWExcludedBundleIDField] = id;
    row.icon = iconForEntry(entry->icon);

    const int index = static_cast<int>(rows_.size());
    beginInsertRows({}, index, index);
    rows_.push_back(std::move(row));
    endInsertRows();
    selectRows(index, 1);
    syncArrayWithPrefs();
    return true;
}

void ExcludeController::excludeRemoveAction() {
    if (view_) {
        QModelIndexList selected = table_->selectionModel()->selectedRows();
        std::sort(selected.begin(), selected.end(),
                  [](const QModelIndex& a, const QModelIndex& b) { return a.row() > b.row(); });
        for (const QModelIndex& index : selected) {
            beginRemoveRows({}, index.row(), index.row());
            rows_.erase(rows_.begin() + index.row());
            endRemoveRows();
        }
    }
    syncArrayWithPrefs();
}

void ExcludeController::acceptDrop(const QList<QUrl>& urls) {
    if (view_) // a new drop: the reason of an earlier refusal goes
        statusLine_->hide();
    const int first = static_cast<int>(rows_.size());
    int count = 0;
    for (const QUrl& url : urls) {
        if (!url.isLocalFile()) { // a web address, say: refused like any other non-application
            refuse(localized("%1 is not an application.").arg(url.toDisplayString()));
            continue;
        }
        ++count;
        addApplication(url.toLocalFile().toStdString());
    }
    selectRows(first, count);
}

bool ExcludeController::eventFilter(QObject* watched, QEvent* event) {
    if (watched == table_ && event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if ((key == Qt::Key_Delete || key == Qt::Key_Backspace) &&
            table_->selectionModel()->hasSelection()) {
            excludeRemoveAction();
            return true;
        }
    }
    return QAbstractTableModel::eventFilter(watched, event);
}

void ExcludeController::selectRows(int first, int count) {
    if (!view_) // no pane (yet, or its window is gone): nothing is selected
        return;
    // The range may run past the last row (rejected items count too): only rows that exist are
    // selected.
    QItemSelection selection;
    const int last = std::min(first + count, rowCount()) - 1;
    if (count > 0 && first <= last)
        selection.select(index(first, 0), index(last, 0));
    table_->selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect |
                                                    QItemSelectionModel::Rows);
}

void ExcludeController::syncArrayWithPrefs() {
    TWPlistArray records;
    records.reserve(rows_.size());
    for (const Row& row : rows_) {
        TWPlistDictionary record = row.record;
        record.erase(TWExcludedURLField);
        record.erase(TWExcludedIconField);
        records.emplace_back(std::move(record));
    }
    if (services_.sharedDefaults->setObject(TWPlistValue(std::move(records)), TWExcludedAppsKey))
        return;
    // Not saved: the list goes back to what is stored, and the pane says so.
    resolveExcludedItems();
    if (view_) {
        statusLine_->setText(
            localized("The change could not be saved: the settings file cannot be written."));
        statusLine_->show();
    }
}

// ----------------------------------------------------------------------------- the rebuild

std::vector<ExcludeController::ResolvedRecord>
ExcludeController::resolveRecords(const std::optional<TWPlistArray>& stored,
                                  const std::vector<std::string>& dataDirs) {
    std::vector<ResolvedRecord> resolved;
    if (!stored)
        return resolved;
    TWBookmarkResolver resolver(dataDirs);
    for (const TWPlistValue& value : *stored) {
        const auto* record = value.get<TWPlistDictionary>();
        if (!record)
            continue;
        const TWPlistValue* data = TWPlistLookup(*record, TWExcludedURLDataField);
        const TWPlistData* bytes = data ? data->get<TWPlistData>() : nullptr;
        const std::optional<std::string> path = bytes ? resolver.resolve(*bytes) : std::nullopt;
        if (!path)
            continue;
        ResolvedRecord row;
        for (const char* field :
             {TWExcludedNameField, TWExcludedURLDataField, TWExcludedBundleIDField})
            if (const TWPlistValue* v = TWPlistLookup(*record, field))
                row.record[field] = *v;
        row.URL = *path;
        if (auto entry = TWDesktopEntryIndex::parseFile(*path, {}))
            row.iconName = entry->icon;
        resolved.push_back(std::move(row));
    }
    return resolved;
}

void ExcludeController::resolveExcludedItems() {
    if (rebuild_.joinable())
        rebuild_.join();
    TWUserDefaults* defaults = services_.sharedDefaults;
    std::vector<std::string> dataDirs = dataDirectoriesOf(services_);
    rebuild_ = std::thread([this, defaults, dataDirs = std::move(dataDirs)] {
        std::vector<ResolvedRecord> records =
            resolveRecords(defaults->arrayForKey(TWExcludedAppsKey), dataDirs);
        // Handed to the main thread under a lock of our own, so the hand-over does not rest on
        // the event queue's internals; a later rebuild's result replaces one not yet applied.
        {
            std::lock_guard lock(handOffMutex_);
            handedOver_ = std::move(records);
        }
        QMetaObject::invokeMethod(
            this,
            [this] {
                std::optional<std::vector<ResolvedRecord>> newest;
                {
                    std::lock_guard lock(handOffMutex_);
                    newest.swap(handedOver_);
                }
                if (newest)
                    applyResolvedRecords(std::move(*newest));
            },
            Qt::QueuedConnection);
    });
}

void ExcludeController::applyResolvedRecords(std::vector<ResolvedRecord> records) {
    beginResetModel();
    rows_.clear();
    for (ResolvedRecord& record : records)
        rows_.push_back(
            {std::move(record.record), std::move(record.URL), iconForEntry(record.iconName)});
    endResetModel();
    emit excludedItemsResolved();
}

// ----------------------------------------------------------------------------- the model

int ExcludeController::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

int ExcludeController::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : 1;
}

QVariant ExcludeController::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= rowCount())
        return {};
    const Row& row = rows_[static_cast<size_t>(index.row())];
    if (role == Qt::DisplayRole || role == Qt::ToolTipRole) {
        const TWPlistValue* name = TWPlistLookup(row.record, TWExcludedNameField);
        const std::string* text = name ? name->get<std::string>() : nullptr;
        if (role == Qt::ToolTipRole)
            return QString::fromStdString(row.URL);
        return text ? QString::fromStdString(*text) : QString();
    }
    if (role == Qt::DecorationRole)
        return row.icon;
    return {};
}

Qt::ItemFlags ExcludeController::flags(const QModelIndex& index) const {
    // Drops are taken anywhere, on a row or between rows: they always append.
    if (!index.isValid())
        return Qt::ItemIsDropEnabled;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDropEnabled;
}

QStringList ExcludeController::mimeTypes() const {
    return {QStringLiteral("text/uri-list")};
}

Qt::DropActions ExcludeController::supportedDropActions() const {
    return Qt::CopyAction;
}

bool ExcludeController::canDropMimeData(const QMimeData*, Qt::DropAction, int, int,
                                        const QModelIndex&) const {
    return true;
}

bool ExcludeController::dropMimeData(const QMimeData* data, Qt::DropAction, int, int,
                                     const QModelIndex&) {
    // Where the drop landed does not matter: every drop appends at the end.
    acceptDrop(data ? data->urls() : QList<QUrl>());
    return true;
}
