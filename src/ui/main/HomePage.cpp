#include "ui/main/HomePage.h"

#include "app/Hotkeys.h"
#include "app/URLCommands.h"
#include "editor/ClipboardOpener.h"
#include "ui/AppIcon.h"
#include "ui/main/LibraryModel.h"
#include "ui/main/LibraryTileDelegate.h"
#include "ui/main/SectionTitle.h"

#include <QFileDialog>
#include <QGridLayout>
#include <QKeySequence>
#include <QLabel>
#include <QListView>
#include <QPushButton>
#include <QTimer>
#include <QUrl>
#include <QVBoxLayout>

namespace ui {
namespace {

struct Flow {
    const char* hotkey; // its name under [Hotkeys]
    const char* command;
    const char* title;
};

constexpr Flow flows[] = {
    {"area", "capture-area", "Capture Area"},
    {"window", "capture-window", "Capture Window"},
    {"fullscreen", "capture-fullscreen", "Capture Screen"},
    {"previous", "capture-previous", "Previous Area"},
    {"text", "capture-text", "Capture Text"},
    {"allInOne", "all-in-one", "All-in-One"},
};

QString hotkeyText(const char* name) {
    for (const auto& binding : Hotkeys::captureBindings([](const QString&) {}))
        if (binding.name == QLatin1String(name))
            return QKeySequence(Hotkeys::keysOf(binding), QKeySequence::PortableText)
                .toString(QKeySequence::NativeText);
    return {};
}

} // namespace

HomePage::HomePage(HistoryIndex& index, QWidget* parent) : QWidget(parent) {
    auto* logo = new QLabel(this);
    logo->setPixmap(appIcon().pixmap(56, 56));
    auto* title = heading(tr("Pictavia"), 1.8, this);
    auto* tagline =
        new QLabel(tr("Capture anything on the screen, then find it again by the words inside."), this);
    tagline->setForegroundRole(QPalette::PlaceholderText);
    auto* words = new QVBoxLayout;
    words->addWidget(title);
    words->addWidget(tagline);
    auto* top = new QHBoxLayout;
    top->addWidget(logo);
    top->addLayout(words, 1);

    auto* grid = new QGridLayout;
    int slot = 0;
    for (const Flow& flow : flows) {
        const QString keys = hotkeyText(flow.hotkey);
        auto* button = new QPushButton(keys.isEmpty() ? tr(flow.title) : tr(flow.title) + u'\n' + keys, this);
        button->setMinimumHeight(58);
        const QString command = QString::fromLatin1(flow.command);
        connect(button, &QPushButton::clicked, this, [this, command] { capture(command); });
        grid->addWidget(button, slot / 3, slot % 3);
        ++slot;
    }

    auto* open = new QPushButton(tr("Open an Image…"), this);
    auto* paste = new QPushButton(tr("Edit Clipboard Image"), this);
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
    connect(all, &QPushButton::clicked, this, &HomePage::showLibrary);
    auto* recentHeader = new QHBoxLayout;
    recentHeader->addWidget(recentTitle);
    recentHeader->addStretch(1);
    recentHeader->addWidget(all);

    auto* model = new LibraryModel(index, this);
    auto* recent = new QListView(this);
    recent->setModel(model);
    recent->setItemDelegate(new LibraryTileDelegate(recent));
    recent->setViewMode(QListView::IconMode);
    recent->setFlow(QListView::LeftToRight);
    recent->setWrapping(false);
    recent->setMovement(QListView::Static);
    recent->setUniformItemSizes(true);
    recent->setDragEnabled(true);
    recent->setDragDropMode(QAbstractItemView::DragOnly);
    recent->setFrameShape(QFrame::NoFrame);
    recent->setFixedHeight(LibraryTileDelegate::tileSize.height() + 24);
    connect(recent, &QListView::activated, this,
            [model](const QModelIndex& item) { ClipboardOpener::open(model->item(item.row()).path); });

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addSpacing(12);
    layout->addLayout(grid);
    layout->addLayout(editing);
    layout->addSpacing(12);
    layout->addLayout(recentHeader);
    layout->addWidget(recent);
    layout->addStretch(1);
}

void HomePage::capture(const QString& command) {
    // The window hides first so that it is not in the picture.
    window()->hide();
    QTimer::singleShot(250,
                       [command] { URLCommands::handle(QUrl(QStringLiteral("pictavia://") + command)); });
}

} // namespace ui
