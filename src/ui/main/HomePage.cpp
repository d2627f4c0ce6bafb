#include "ui/main/HomePage.h"

#include "app/HotkeyRegistry.h"
#include "app/Hotkeys.h"
#include "app/URLCommands.h"
#include "editor/ClipboardOpener.h"
#include "ui/AppIcon.h"
#include "ui/ThemeIcons.h"
#include "ui/main/ActionTile.h"
#include "ui/main/AwayDuringFlow.h"
#include "ui/main/LibraryModel.h"
#include "ui/main/LibraryTileDelegate.h"
#include "ui/main/SectionTitle.h"

#include <QFileDialog>
#include <QGridLayout>
#include <QLabel>
#include <QListView>
#include <QPushButton>
#include <QStackedWidget>
#include <QTimer>
#include <QUrl>
#include <QVBoxLayout>

namespace ui {
namespace {

struct Flow {
    const char* hotkey; // its name under [Hotkeys]
    const char* command;
    const char* title;
    const char* icon;
    const char* purpose; // the second line when the flow has no hotkey
};

constexpr Flow flows[] = {
    {"area", "capture-area", "Capture Area", "select-rectangular", "Drag over any part of the screen"},
    {"window", "capture-window", "Capture Window", "window", "Click the window to capture"},
    {"fullscreen", "capture-fullscreen", "Capture Screen", "view-fullscreen", "The whole display"},
    {"previous", "capture-previous", "Previous Area", "view-refresh", "The last area again"},
    {"text", "capture-text", "Capture Text", "insert-text", "Copy the words in an area"},
    {"allInOne", "all-in-one", "All-in-One", "tools-wizard", "Save, copy or pin a selection"},
};

QString secondLine(const Flow& flow) {
    const HotkeyRegistry& hotkeys = HotkeyRegistry::shared();
    const QString name = QString::fromLatin1(flow.hotkey);
    const QString keys = Hotkeys::readable(hotkeys.keys(name));
    if (keys.isEmpty()) return QObject::tr(flow.purpose);
    // Settings says which program; here it is enough to know that the key does nothing.
    return hotkeys.problem(name).isEmpty() ? keys : QObject::tr("%1 · in use elsewhere").arg(keys);
}

} // namespace

HomePage::HomePage(HistoryIndex& index, QWidget* parent)
    : QWidget(parent), m_model(new LibraryModel(index, this)), m_recent(new QListView(this)),
      m_recentStack(new QStackedWidget(this)) {
    auto* logo = new QLabel(this);
    logo->setPixmap(appIcon().pixmap(56, 56));
    auto* title = heading(tr("Pictavia"), 1.8, this);
    auto* tagline =
        new QLabel(tr("Capture anything on the screen, then find it again by the words inside."), this);
    tagline->setForegroundRole(QPalette::PlaceholderText);
    auto* words = new QVBoxLayout;
    words->setSpacing(2);
    words->addStretch(1);
    words->addWidget(title);
    words->addWidget(tagline);
    words->addStretch(1);
    auto* top = new QHBoxLayout;
    top->setSpacing(14);
    top->addWidget(logo);
    top->addLayout(words, 1);

    auto* grid = new QGridLayout;
    grid->setSpacing(10);
    int slot = 0;
    for (const Flow& flow : flows) {
        auto* tile =
            new ActionTile(themeIcon(QString::fromLatin1(flow.icon)), tr(flow.title), secondLine(flow), this);
        const QString command = QString::fromLatin1(flow.command);
        connect(tile, &ActionTile::clicked, this, [this, command] { capture(command); });
        // The second line follows the hotkey as it is changed in the settings.
        connect(&HotkeyRegistry::shared(), &HotkeyRegistry::changed, tile,
                [tile, &flow] { tile->setDetail(secondLine(flow)); });
        grid->addWidget(tile, slot / 3, slot % 3);
        ++slot;
    }

    auto* open = new QPushButton(themeIcon(QStringLiteral("document-open"), QStyle::SP_DialogOpenButton),
                                 tr("Open an Image…"), this);
    auto* paste = new QPushButton(themeIcon(QStringLiteral("edit-paste")), tr("Edit Clipboard Image"), this);
    connect(open, &QPushButton::clicked, this, [this] {
        const QString file =
            QFileDialog::getOpenFileName(this, tr("Open an Image"), {},
                                         tr("Images and projects (*.png *.jpg *.jpeg *.webp "
                                            "*.heic *.gif *.bmp *.pictavia);;All files (*)"));
        if (!file.isEmpty()) ClipboardOpener::open(file);
    });
    connect(paste, &QPushButton::clicked, this, [] { ClipboardOpener::openClipboard(); });
    auto* editing = new QHBoxLayout;
    editing->addWidget(open);
    editing->addWidget(paste);
    editing->addStretch(1);

    auto* recentTitle = heading(tr("Recent Captures"), 1.15, this);
    auto* all = new QPushButton(tr("Show All"), this);
    all->setFlat(true);
    all->setCursor(Qt::PointingHandCursor);
    connect(all, &QPushButton::clicked, this, &HomePage::showLibrary);
    auto* recentHeader = new QHBoxLayout;
    recentHeader->addWidget(recentTitle);
    recentHeader->addStretch(1);
    recentHeader->addWidget(all);

    m_recent->setModel(m_model);
    m_recent->setItemDelegate(new LibraryTileDelegate(m_recent));
    m_recent->setViewMode(QListView::IconMode);
    m_recent->setFlow(QListView::LeftToRight);
    m_recent->setWrapping(false);
    m_recent->setMovement(QListView::Static);
    // Sizes follow the grid, which stretches with the view.
    m_recent->setUniformItemSizes(false);
    m_recent->setGridSize(LibraryTileDelegate::tileSize);
    m_recent->setDragEnabled(true);
    m_recent->setDragDropMode(QAbstractItemView::DragOnly);
    m_recent->setFrameShape(QFrame::NoFrame);
    m_recent->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_recent->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_recent->setFixedHeight(LibraryTileDelegate::tileSize.height() + 8);
    m_recent->viewport()->setBackgroundRole(QPalette::Window);
    connect(m_recent, &QListView::activated, this,
            [this](const QModelIndex& item) { ClipboardOpener::open(m_model->item(item.row()).path); });

    m_recentStack->addWidget(m_recent);
    m_recentStack->addWidget(makeEmptyState());
    connect(m_model, &LibraryModel::itemsChanged, this, &HomePage::fitRecent);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(24, 20, 24, 16);
    layout->setSpacing(10);
    layout->addLayout(top);
    layout->addSpacing(10);
    layout->addLayout(grid);
    layout->addLayout(editing);
    layout->addSpacing(14);
    layout->addLayout(recentHeader);
    layout->addWidget(m_recentStack);
    layout->addStretch(1);
    fitRecent();
}

QWidget* HomePage::makeEmptyState() {
    auto* box = new QFrame(this);
    box->setObjectName(QStringLiteral("emptyRecent"));
    box->setFrameShape(QFrame::StyledPanel);
    box->setFixedHeight(LibraryTileDelegate::tileSize.height() + 8);
    auto* picture = new QLabel(box);
    picture->setPixmap(themeIcon(QStringLiteral("camera-photo")).pixmap(48, 48));
    picture->setAlignment(Qt::AlignCenter);
    picture->setVisible(!picture->pixmap().isNull());
    auto* title = heading(tr("No captures yet"), 1.1, box);
    title->setAlignment(Qt::AlignCenter);
    // The hotkey is named only when it works: another program may hold it.
    const HotkeyRegistry& hotkeys = HotkeyRegistry::shared();
    const QString area = QStringLiteral("area");
    const QString keys = hotkeys.problem(area).isEmpty() ? Hotkeys::readable(hotkeys.keys(area)) : QString();
    auto* hint = new QLabel(keys.isEmpty()
                                ? tr("Take your first screenshot with the button below. It will appear here.")
                                : tr("Press %1 anywhere to capture an area. Your screenshots "
                                     "will appear here.")
                                      .arg(keys),
                            box);
    hint->setForegroundRole(QPalette::PlaceholderText);
    hint->setAlignment(Qt::AlignCenter);
    hint->setWordWrap(true);
    auto* start =
        new QPushButton(themeIcon(QStringLiteral("select-rectangular")), tr("Capture an Area"), box);
    start->setObjectName(QStringLiteral("firstCapture"));
    connect(start, &QPushButton::clicked, this, [this] { capture(QStringLiteral("capture-area")); });
    auto* layout = new QVBoxLayout(box);
    layout->addStretch(1);
    layout->addWidget(picture);
    layout->addWidget(title);
    layout->addWidget(hint);
    layout->addSpacing(6);
    layout->addWidget(start, 0, Qt::AlignCenter);
    layout->addStretch(1);
    return box;
}

void HomePage::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    fitRecent();
}

void HomePage::fitRecent() {
    // Only whole tiles: as many of the newest as the width holds, none cut at the edge.
    const int rows = m_model->rowCount();
    m_recentStack->setCurrentIndex(rows == 0 ? 1 : 0);
    const int fits = LibraryTileDelegate::stretchGrid(*m_recent);
    for (int row = 0; row < rows; ++row)
        m_recent->setRowHidden(row, row >= fits);
}

void HomePage::capture(const QString& command) {
    runAwayFrom(window(), [command] { URLCommands::handle(QUrl(QStringLiteral("pictavia://") + command)); });
}

} // namespace ui
