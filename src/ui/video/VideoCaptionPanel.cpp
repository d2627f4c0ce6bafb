#include "ui/video/VideoCaptionPanel.h"

#include "ui/OverlayStyle.h"
#include "video/VideoEditorModel.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QShortcut>
#include <QSlider>
#include <QTableWidget>
#include <QVBoxLayout>

#include <cmath>

namespace ui::video {

namespace {

// One press of a nudge button or key moves an edge this far.
constexpr double nudgeStep = 0.1;

const QList<CaptionLook> looks{CaptionLook::box, CaptionLook::outline};
const QList<CaptionColor> colors{CaptionColor::white, CaptionColor::yellow};
const QList<CaptionPosition> positions{CaptionPosition::bottom, CaptionPosition::top};

QString clock(double seconds) {
    const double clamped = std::max(0.0, seconds);
    const int minutes = int(clamped) / 60;
    return QStringLiteral("%1:%2").arg(minutes).arg(clamped - minutes * 60, 4, 'f', 1, QLatin1Char('0'));
}

QWidget* sectionBox(const QString& title, QVBoxLayout*& layout) {
    auto* box = new QWidget;
    box->setObjectName(QStringLiteral("styleSection"));
    layout = new QVBoxLayout(box);
    layout->setContentsMargins(12, 10, 12, 12);
    layout->setSpacing(8);
    auto* heading = new QLabel(title.toUpper());
    heading->setObjectName(QStringLiteral("sectionHeading"));
    layout->addWidget(heading);
    return box;
}

QPushButton* button(const QString& text, const QString& tip) {
    auto* b = new QPushButton(text);
    b->setToolTip(tip);
    b->setFocusPolicy(Qt::NoFocus);
    return b;
}

bool sameLines(const QList<CaptionLine>& a, const QList<CaptionLine>& b) {
    if (a.size() != b.size()) return false;
    for (qsizetype i = 0; i < a.size(); ++i)
        if (a[i].id != b[i].id) return false;
    return true;
}

} // namespace

VideoCaptionPanel::VideoCaptionPanel(VideoEditorModel* model, QWidget* parent)
    : QWidget(parent), m_model(model) {
    setObjectName(QStringLiteral("videoCaptionPanel"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(14, 12, 14, 14);
    layout->setSpacing(6);
    layout->addWidget(buildTranscribe());
    layout->addWidget(buildLines(), 1);
    layout->addWidget(buildFind());
    layout->addWidget(buildLook());

    connect(m_model, &VideoEditorModel::changed, this, &VideoCaptionPanel::sync);
    connect(m_model, &VideoEditorModel::playheadChanged, this, &VideoCaptionPanel::followPlayhead);
    connect(m_model, &VideoEditorModel::transcribeProgress, this, [this](double done) {
        m_progress->setValue(int(std::lround(std::clamp(done, 0.0, 1.0) * 1000)));
    });
    connect(m_model, &VideoEditorModel::transcribeFinished, this, [this](const QString& error) {
        if (!error.isEmpty())
            m_status->setText(error);
        else if (m_model->captions().isEmpty())
            m_status->setText(tr("No speech was heard in this recording."));
        else
            m_status->setText(m_model->captions().size() == 1
                                  ? tr("One line heard.")
                                  : tr("%1 lines heard.").arg(m_model->captions().size()));
        m_status->setVisible(true);
    });
    // Reading which languages are installed loads the recogniser: done once the window is up.
    QMetaObject::invokeMethod(
        this, [this] { m_model->loadCaptionLanguages(); }, Qt::QueuedConnection);
    sync();
}

QWidget* VideoCaptionPanel::buildTranscribe() {
    QVBoxLayout* layout = nullptr;
    QWidget* box = sectionBox(tr("Transcribe"), layout);
    auto* row = new QHBoxLayout;
    m_language = new QComboBox;
    m_language->setAccessibleName(tr("Language"));
    m_language->setToolTip(tr("The language spoken in the recording"));
    connect(m_language, &QComboBox::currentTextChanged, this, [this](const QString& language) {
        if (!m_syncing) m_model->setCaptionLanguage(language);
    });
    m_transcribe = new QPushButton(tr("Transcribe"));
    m_transcribe->setToolTip(tr("Make captions from the speech, recognised on this computer (audio never "
                                "leaves it)"));
    connect(m_transcribe, &QPushButton::clicked, this, &VideoCaptionPanel::transcribe);
    row->addWidget(m_language, 1);
    row->addWidget(m_transcribe);
    layout->addLayout(row);
    auto* progressRow = new QHBoxLayout;
    m_progress = new QProgressBar;
    m_progress->setRange(0, 1000);
    m_progress->setTextVisible(false);
    m_cancel = new QPushButton(tr("Cancel"));
    connect(m_cancel, &QPushButton::clicked, m_model, &VideoEditorModel::cancelTranscription);
    progressRow->addWidget(m_progress, 1);
    progressRow->addWidget(m_cancel);
    layout->addLayout(progressRow);
    m_status = new QLabel;
    m_status->setObjectName(QStringLiteral("fieldCaption"));
    m_status->setWordWrap(true);
    m_status->setVisible(false);
    layout->addWidget(m_status);
    return box;
}

QWidget* VideoCaptionPanel::buildLines() {
    QVBoxLayout* layout = nullptr;
    QWidget* box = sectionBox(tr("Lines"), layout);
    m_lines = new QTableWidget(0, 2);
    m_lines->setObjectName(QStringLiteral("captionLines"));
    m_lines->setHorizontalHeaderLabels({tr("Time"), tr("Text")});
    m_lines->horizontalHeader()->setSectionResizeMode(0, QHeaderView::ResizeToContents);
    m_lines->horizontalHeader()->setSectionResizeMode(1, QHeaderView::Stretch);
    m_lines->verticalHeader()->setVisible(false);
    m_lines->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_lines->setSelectionMode(QAbstractItemView::SingleSelection);
    m_lines->setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed |
                             QAbstractItemView::SelectedClicked);
    m_lines->setWordWrap(true);
    m_lines->setMinimumHeight(140);
    // A line clicked is a place in the movie: the preview goes there.
    connect(m_lines, &QTableWidget::itemClicked, this, [this](QTableWidgetItem* item) {
        const QUuid id = m_lines->item(item->row(), 0)->data(Qt::UserRole).toUuid();
        for (const CaptionLine& line : m_model->captions())
            if (line.id == id) m_model->setPlayhead(line.start);
    });
    // The edit is handed on after the table has finished with its item, which the model's
    // answer may replace.
    connect(m_lines, &QTableWidget::itemChanged, this, [this](QTableWidgetItem* item) {
        if (m_syncing || item->column() != 1) return;
        const QUuid id = m_lines->item(item->row(), 0)->data(Qt::UserRole).toUuid();
        const QString text = item->text().simplified();
        QMetaObject::invokeMethod(
            this, [this, id, text] { m_model->setCaptionText(id, text); }, Qt::QueuedConnection);
    });
    connect(m_lines, &QTableWidget::itemSelectionChanged, this, &VideoCaptionPanel::sync);
    layout->addWidget(m_lines, 1);

    auto* edits = new QHBoxLayout;
    auto* add = button(tr("Add"), tr("A new line at the playhead"));
    auto* remove = button(tr("Delete"), tr("Delete the line"));
    auto* split = button(tr("Split"), tr("Divide the line in two between its words"));
    m_merge = button(tr("Merge"), tr("Join the line with the next one"));
    connect(add, &QPushButton::clicked, this, &VideoCaptionPanel::addLine);
    connect(remove, &QPushButton::clicked, this, &VideoCaptionPanel::removeLine);
    connect(split, &QPushButton::clicked, this, &VideoCaptionPanel::splitLine);
    connect(m_merge, &QPushButton::clicked, this, &VideoCaptionPanel::mergeLine);
    for (QPushButton* b : {add, remove, split, m_merge})
        edits->addWidget(b);
    layout->addLayout(edits);

    // The edges by a tenth of a second, from the buttons or Alt with the arrows (Shift for the end).
    auto* timing = new QHBoxLayout;
    const struct {
        QString text;
        QString tip;
        bool start;
        double by;
        QKeySequence key;
    } nudges[] = {
        {tr("Start −"), tr("Start 0.1 s earlier (Alt+Left)"), true, -nudgeStep,
         QKeySequence(Qt::ALT | Qt::Key_Left)},
        {tr("Start +"), tr("Start 0.1 s later (Alt+Right)"), true, nudgeStep,
         QKeySequence(Qt::ALT | Qt::Key_Right)},
        {tr("End −"), tr("End 0.1 s earlier (Alt+Shift+Left)"), false, -nudgeStep,
         QKeySequence(Qt::ALT | Qt::SHIFT | Qt::Key_Left)},
        {tr("End +"), tr("End 0.1 s later (Alt+Shift+Right)"), false, nudgeStep,
         QKeySequence(Qt::ALT | Qt::SHIFT | Qt::Key_Right)},
    };
    for (const auto& n : nudges) {
        auto* b = button(n.text, n.tip);
        const bool start = n.start;
        const double by = n.by;
        connect(b, &QPushButton::clicked, this, [this, start, by] { nudge(start, by); });
        auto* key = new QShortcut(n.key, this);
        key->setContext(Qt::WindowShortcut);
        connect(key, &QShortcut::activated, this, [this, start, by] { nudge(start, by); });
        timing->addWidget(b);
        m_lineButtons << b;
    }
    layout->addLayout(timing);
    m_lineButtons << remove << split;

    auto* out = new QHBoxLayout;
    m_copy = button(tr("Copy Transcript"), tr("The lines as text with their times, on the clipboard"));
    m_export = button(tr("Export SRT…"), tr("SubRip subtitles of the kept part of the movie"));
    connect(m_copy, &QPushButton::clicked, m_model, &VideoEditorModel::copyTranscript);
    connect(m_export, &QPushButton::clicked, this, &VideoCaptionPanel::exportSRT);
    out->addWidget(m_copy);
    out->addWidget(m_export);
    layout->addLayout(out);
    return box;
}

QWidget* VideoCaptionPanel::buildFind() {
    QVBoxLayout* layout = nullptr;
    QWidget* box = sectionBox(tr("Find and Replace"), layout);
    m_find = new QLineEdit;
    m_find->setPlaceholderText(tr("Find"));
    m_find->setClearButtonEnabled(true);
    m_replace = new QLineEdit;
    m_replace->setPlaceholderText(tr("Replace with"));
    m_replace->setClearButtonEnabled(true);
    auto* row = new QHBoxLayout;
    auto* all = new QPushButton(tr("Replace All"));
    m_replaced = new QLabel;
    m_replaced->setObjectName(QStringLiteral("fieldCaption"));
    connect(all, &QPushButton::clicked, this, &VideoCaptionPanel::replaceAll);
    connect(m_replace, &QLineEdit::returnPressed, this, &VideoCaptionPanel::replaceAll);
    connect(m_find, &QLineEdit::textChanged, m_replaced, &QLabel::clear);
    row->addWidget(all);
    row->addWidget(m_replaced, 1);
    layout->addWidget(m_find);
    layout->addWidget(m_replace);
    layout->addLayout(row);
    return box;
}

QWidget* VideoCaptionPanel::buildLook() {
    QVBoxLayout* layout = nullptr;
    QWidget* box = sectionBox(tr("Look"), layout);
    const auto edit = [this](const std::function<void(StudioStyle&)>& change) {
        if (m_syncing) return;
        StudioStyle style = m_model->style();
        change(style);
        m_model->setStyle(style);
    };
    m_show = new QCheckBox(tr("Show captions"));
    connect(m_show, &QCheckBox::toggled, this,
            [edit](bool on) { edit([on](StudioStyle& s) { s.captions = on; }); });
    layout->addWidget(m_show);
    auto* form = new QFormLayout;
    const auto combo = [form](const QString& label, const QStringList& items) {
        auto* box = new QComboBox;
        box->addItems(items);
        box->setAccessibleName(label);
        form->addRow(label, box);
        return box;
    };
    m_look = combo(tr("Style"), {tr("Box"), tr("Outline")});
    m_color = combo(tr("Colour"), {tr("White"), tr("Yellow")});
    m_position = combo(tr("Place"), {tr("Bottom"), tr("Top")});
    connect(m_look, &QComboBox::currentIndexChanged, this, [edit](int i) {
        if (i >= 0) edit([i](StudioStyle& s) { s.captionLook = looks.value(i); });
    });
    connect(m_color, &QComboBox::currentIndexChanged, this, [edit](int i) {
        if (i >= 0) edit([i](StudioStyle& s) { s.captionColor = colors.value(i); });
    });
    connect(m_position, &QComboBox::currentIndexChanged, this, [edit](int i) {
        if (i >= 0) edit([i](StudioStyle& s) { s.captionPosition = positions.value(i); });
    });
    m_size = new QSlider(Qt::Horizontal);
    m_size->setRange(50, 200);
    m_size->setAccessibleName(tr("Size"));
    connect(m_size, &QSlider::valueChanged, this,
            [edit](int v) { edit([v](StudioStyle& s) { s.captionScale = v / 100.0; }); });
    form->addRow(tr("Size"), m_size);
    layout->addLayout(form);
    return box;
}

std::optional<QUuid> VideoCaptionPanel::chosenLine() const {
    const QList<QTableWidgetItem*> selected = m_lines->selectedItems();
    if (!selected.isEmpty()) return m_lines->item(selected.first()->row(), 0)->data(Qt::UserRole).toUuid();
    return m_model->currentCaptionID();
}

void VideoCaptionPanel::transcribe() {
    if (!m_model->captions().isEmpty() &&
        QMessageBox::question(this, tr("Transcribe Again"),
                              m_model->captions().size() == 1
                                  ? tr("The caption line is replaced by a new transcription.")
                                  : tr("The %1 caption lines are replaced by a new transcription.")
                                        .arg(m_model->captions().size()),
                              QMessageBox::Ok | QMessageBox::Cancel) != QMessageBox::Ok)
        return;
    m_status->setVisible(false);
    m_progress->setValue(0);
    m_model->transcribe();
}

void VideoCaptionPanel::exportSRT() {
    const QFileInfo movie(m_model->url());
    const QString file = QFileDialog::getSaveFileName(
        this, tr("Export Captions"), movie.dir().filePath(movie.completeBaseName() + QStringLiteral(".srt")),
        tr("SubRip subtitles (*.srt)"));
    if (!file.isEmpty()) (void)m_model->exportSRT(file);
}

void VideoCaptionPanel::addLine() {
    const QUuid id = m_model->addCaptionAtPlayhead();
    select(id);
    for (int row = 0; row < m_lines->rowCount(); ++row)
        if (m_lines->item(row, 0)->data(Qt::UserRole).toUuid() == id)
            m_lines->editItem(m_lines->item(row, 1));
}

void VideoCaptionPanel::removeLine() {
    if (const auto id = chosenLine()) m_model->removeCaption(*id);
}

void VideoCaptionPanel::splitLine() {
    if (const auto id = chosenLine()) m_model->splitCaption(*id);
}

void VideoCaptionPanel::mergeLine() {
    if (const auto id = chosenLine()) m_model->mergeWithNext(*id);
}

void VideoCaptionPanel::nudge(bool start, double by) {
    if (const auto id = chosenLine())
        m_model->nudge(*id, start ? VideoEditorModel::CaptionEdge::start : VideoEditorModel::CaptionEdge::end,
                       by);
}

void VideoCaptionPanel::replaceAll() {
    if (m_find->text().isEmpty()) return;
    const int count = m_model->replaceInCaptions(m_find->text(), m_replace->text());
    m_replaced->setText(count == 0 ? tr("Not found") : tr("%1 replaced").arg(count));
}

void VideoCaptionPanel::select(const QUuid& id) {
    for (int row = 0; row < m_lines->rowCount(); ++row)
        if (m_lines->item(row, 0)->data(Qt::UserRole).toUuid() == id) {
            m_lines->selectRow(row);
            m_lines->scrollToItem(m_lines->item(row, 0));
        }
}

// The table follows the model's lines: rebuilt when lines come or go, its cells rewritten in
// place when only times or texts changed (so an edit in progress elsewhere is not lost).
void VideoCaptionPanel::fillLines() {
    const QList<CaptionLine>& lines = m_model->captions();
    if (lines == m_shown) return;
    const std::optional<QUuid> selected = [this]() -> std::optional<QUuid> {
        const QList<QTableWidgetItem*> items = m_lines->selectedItems();
        if (items.isEmpty()) return std::nullopt;
        return m_lines->item(items.first()->row(), 0)->data(Qt::UserRole).toUuid();
    }();
    const bool rebuild = !sameLines(lines, m_shown);
    if (rebuild) m_lines->setRowCount(int(lines.size()));
    for (int row = 0; row < lines.size(); ++row) {
        const CaptionLine& line = lines[row];
        QTableWidgetItem* time = rebuild ? new QTableWidgetItem : m_lines->item(row, 0);
        QTableWidgetItem* text = rebuild ? new QTableWidgetItem : m_lines->item(row, 1);
        time->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable);
        time->setData(Qt::UserRole, line.id);
        time->setText(clock(line.start));
        time->setToolTip(QStringLiteral("%1 – %2").arg(clock(line.start), clock(line.end)));
        text->setText(line.text);
        text->setToolTip(line.text);
        if (rebuild) {
            m_lines->setItem(row, 0, time);
            m_lines->setItem(row, 1, text);
        }
    }
    m_shown = lines;
    if (rebuild) {
        m_current.reset();
        if (selected) select(*selected);
    }
    m_lines->resizeRowsToContents();
    followPlayhead();
}

// The line under the playhead stands out, and comes into view when the playhead reaches it.
void VideoCaptionPanel::followPlayhead() {
    const std::optional<QUuid> current = m_model->currentCaptionID();
    if (current == m_current) return;
    m_current = current;
    const QColor highlight = overlaystyle::accent;
    for (int row = 0; row < m_lines->rowCount(); ++row) {
        const bool on = current && m_lines->item(row, 0)->data(Qt::UserRole).toUuid() == *current;
        for (int column = 0; column < 2; ++column) {
            QTableWidgetItem* item = m_lines->item(row, column);
            const bool wasSyncing = std::exchange(m_syncing, true);
            QFont font = item->font();
            font.setBold(on);
            item->setFont(font);
            item->setForeground(on ? QBrush(highlight.lighter(140)) : QBrush());
            m_syncing = wasSyncing;
        }
        if (on) m_lines->scrollToItem(m_lines->item(row, 0), QAbstractItemView::EnsureVisible);
    }
    syncButtons();
}

void VideoCaptionPanel::syncButtons() {
    const bool hasLines = !m_model->captions().isEmpty();
    const std::optional<QUuid> chosen = chosenLine();
    for (QPushButton* b : m_lineButtons)
        b->setEnabled(chosen.has_value());
    m_merge->setEnabled(chosen && hasLines && m_model->captions().last().id != *chosen);
    m_copy->setEnabled(hasLines);
    m_export->setEnabled(hasLines);
}

void VideoCaptionPanel::sync() {
    const bool wasSyncing = std::exchange(m_syncing, true);
    const bool transcribing = m_model->transcribing();
    const bool canTranscribe = m_model->loadError().isEmpty() && m_model->hasAudio();

    QStringList languages = m_model->captionLanguages();
    if (!languages.contains(m_model->captionLanguage())) languages.prepend(m_model->captionLanguage());
    QStringList offered;
    for (int i = 0; i < m_language->count(); ++i)
        offered << m_language->itemText(i);
    if (offered != languages) {
        m_language->clear();
        m_language->addItems(languages);
    }
    m_language->setCurrentText(m_model->captionLanguage());
    m_language->setEnabled(!transcribing);
    m_transcribe->setEnabled(!transcribing && canTranscribe);
    m_transcribe->setToolTip(canTranscribe ? tr("Make captions from the speech, recognised on this computer "
                                                "(audio never leaves it)")
                                           : tr("This recording has no sound."));
    m_progress->setVisible(transcribing);
    m_cancel->setVisible(transcribing);

    fillLines();
    syncButtons();

    const StudioStyle& style = m_model->style();
    m_show->setChecked(style.captions);
    m_look->setCurrentIndex(int(looks.indexOf(style.captionLook)));
    m_color->setCurrentIndex(int(colors.indexOf(style.captionColor)));
    m_position->setCurrentIndex(int(positions.indexOf(style.captionPosition)));
    m_size->setValue(int(std::lround(style.captionScale * 100)));
    m_syncing = wasSyncing;
}

} // namespace ui::video
