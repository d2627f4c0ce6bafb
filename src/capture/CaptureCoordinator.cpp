#include "capture/CaptureCoordinator.h"

#include "app/Prefs.h"
#include "app/Toast.h"
#include "app/Usage.h"
#include "capture/OutputPipeline.h"
#include "capture/ScreenCaptureService.h"
#include "capture/StillCapture.h"
#include "platform/Platform.h"
#include "recording/ScreenRecorder.h"
#include "text/TextRecognizer.h"

#include <QPointer>
#include <QTimer>
#include <QtConcurrent/QtConcurrentRun>

namespace {

const QString offScreen = QStringLiteral("That area is off screen");

std::shared_ptr<CaptureSurfaces>& installedSurfaces() {
    static std::shared_ptr<CaptureSurfaces> surfaces;
    return surfaces;
}

ScreenCaptureService& service() {
    return ScreenCaptureService::shared();
}

void showFailure(const QString& prefix, const Error& error) {
    Toast::show(prefix + error.message);
}

} // namespace

CaptureCoordinator& CaptureCoordinator::shared() {
    static CaptureCoordinator* coordinator = new CaptureCoordinator(installedSurfaces());
    return *coordinator;
}

void CaptureCoordinator::installSurfaces(std::shared_ptr<CaptureSurfaces> surfaces) {
    installedSurfaces() = std::move(surfaces);
}

CaptureCoordinator::CaptureCoordinator(std::shared_ptr<CaptureSurfaces> surfaces,
                                       std::chrono::milliseconds countdownSecond,
                                       std::chrono::milliseconds settle, ScreenRecorder* recorder)
    : m_surfaces(std::move(surfaces)), m_recorder(recorder ? *recorder : ScreenRecorder::shared()),
      m_countdown(*m_surfaces, countdownSecond), m_settle(settle) {
    // The recording controls live as long as the recording.
    connect(&m_recorder, &ScreenRecorder::stateChanged, this, [this](ScreenRecorder::State state) {
        if (state == ScreenRecorder::State::idle) m_recorderHUD.reset();
    });
}

CaptureCoordinator::~CaptureCoordinator() {
    if (m_openFlows > 0 && platform::services().desktopCover) platform::services().desktopCover->uncover();
}

bool CaptureCoordinator::busy() const {
    return m_openFlows > 0;
}

bool CaptureCoordinator::awaitingUser() const {
    return m_selection || m_windowPicker;
}

QList<SelectionAction> CaptureCoordinator::availableActions() const {
    QList<SelectionAction> actions{SelectionAction::capture, SelectionAction::copy};
    if (platform::services().frameStreams) actions << SelectionAction::record << SelectionAction::gif;
    if (platform::services().textRecognition) actions << SelectionAction::ocr;
    if (!scrollingUnavailable(false)) actions << SelectionAction::scroll;
    actions << SelectionAction::pin;
    return actions;
}

// --- flows ----------------------------------------------------------------------------

void CaptureCoordinator::captureArea() {
    Usage::count(QStringLiteral("capture.area"));
    if (m_selection) return;
    beginAreaSelection(QStringLiteral("Drag to select an area. Esc cancels"), false,
                       [this](const SelectionOutcome& outcome) { handleSelection(outcome); });
}

void CaptureCoordinator::captureAllInOne() {
    Usage::count(QStringLiteral("capture.all_in_one"));
    if (m_selection) return;
    beginAreaSelection(QStringLiteral("Drag to select, then choose an action. Esc cancels"), true,
                       [this](const SelectionOutcome& outcome) { handleSelection(outcome); });
}

void CaptureCoordinator::timedArea(int seconds) {
    Usage::count(QStringLiteral("capture.timed"));
    if (m_selection || m_countdown.running()) return;
    const QString hint =
        QStringLiteral("Select an area. The capture fires %1s after you release").arg(seconds);
    beginAreaSelection(hint, false, [this, seconds](const SelectionOutcome& outcome) {
        if (outcome.kind != SelectionOutcome::Kind::selected) return;
        // The point of waiting is to catch what changes meanwhile: grab live afterwards.
        SelectionTarget live{outcome.target.display, std::nullopt};
        runCountdown(seconds, live.display,
                     [this, rect = outcome.rect, live] { captureRect(rect, live, false); });
    });
}

void CaptureCoordinator::captureText() {
    Usage::count(QStringLiteral("capture.text"));
    if (m_selection) return;
    beginAreaSelection(QStringLiteral("Select text to copy. Esc cancels"), false,
                       [this](const SelectionOutcome& outcome) {
                           if (outcome.kind == SelectionOutcome::Kind::selected)
                               readText(outcome.rect, outcome.target);
                       });
}

void CaptureCoordinator::selectTextArea(std::function<void(std::optional<QImage>)> done) {
    if (m_selection) return done(std::nullopt);
    beginAreaSelection(QStringLiteral("Select text to read. Esc cancels"), false,
                       [this, done = std::move(done)](const SelectionOutcome& outcome) {
                           if (outcome.kind != SelectionOutcome::Kind::selected) return done(std::nullopt);
                           const auto grab = image(outcome.rect, outcome.target);
                           done(grab ? std::optional<QImage>(grab->image) : std::nullopt);
                       });
}

std::optional<QString> CaptureCoordinator::scrollingUnavailable(bool detailed) {
    // Scrolling other programs takes synthesised input; on X11 that is the XTEST extension.
    const auto& scroller = platform::services().scrollSynthesizer;
    if (scroller && scroller->available()) return std::nullopt;
    return detailed ? QStringLiteral("Scrolling capture needs Accessibility access (the X server's XTEST "
                                     "extension, which this display does not offer)")
                    : QStringLiteral("Scrolling capture needs Accessibility access");
}

void CaptureCoordinator::scrollingCapture() {
    Usage::count(QStringLiteral("capture.scrolling"));
    if (m_selection || m_scrolling) return;
    if (const auto missing = scrollingUnavailable(true)) return Toast::show(*missing);
    SelectionParameters parameters;
    parameters.hint = QStringLiteral("Select the scrollable area. Esc cancels");
    parameters.freeze = false;
    beginAreaSelection(std::move(parameters), [this](const SelectionOutcome& outcome) {
        if (outcome.kind != SelectionOutcome::Kind::selected) return;
        const SelectionTarget live{outcome.target.display, std::nullopt};
        const double scale = service().displayScale(live.display);
        startScrolling(outcome.rect, live, Prefs::scrollAxis(), [this, scale](std::optional<QImage> image) {
            if (image) deliverImage(*image, scale, false);
        });
    });
}

void CaptureCoordinator::runScrollingCapture(const QRectF& rect, const platform::DisplayInfo& display,
                                             ScrollAxis axis,
                                             std::function<void(std::optional<QImage>)> done) {
    if (m_scrolling) return done(std::nullopt);
    m_frontmostContext = CaptureContext::frontmost();
    startScrolling(rect, SelectionTarget{display, std::nullopt}, axis, std::move(done));
}

void CaptureCoordinator::finishScrolling() {
    if (m_scrolling) m_scrolling->requestStop();
}

void CaptureCoordinator::startScrolling(const QRectF& rect, const SelectionTarget& target, ScrollAxis axis,
                                        std::function<void(std::optional<QImage>)> done) {
    if (m_scrolling) return done(std::nullopt);
    beginFlow();
    QPointer<CaptureCoordinator> self(this);
    m_scrolling = std::make_unique<ScrollingCaptureController>(
        rect, target, axis,
        [self, done = std::move(done)](std::optional<QImage> image) {
            if (!self) return;
            // The desktop would not let the wheel turn: the user hears why.
            if (self->m_scrolling && !self->m_scrolling->failure().isEmpty())
                Toast::show(self->m_scrolling->failure());
            self->retire(self->m_scrolling);
            self->m_scrollingPanel.reset();
            done(std::move(image));
            self->endFlow();
        },
        m_scrollingTiming);
    const double scale = target.display.scale > 0 ? target.display.scale : 1.0;
    const QRect rootRect = QRectF(rect.topLeft() * scale, rect.size() * scale)
                               .toAlignedRect()
                               .translated(target.display.geometry.topLeft());
    m_scrollingPanel = m_surfaces->makeScrollingPanel({target.display, rootRect, [self] {
                                                           if (self) self->finishScrolling();
                                                       }});
    if (m_scrollingPanel)
        connect(m_scrolling.get(), &ScrollingCaptureController::lengthChanged, this, [this](int pixels) {
            if (m_scrollingPanel) m_scrollingPanel->setLength(pixels);
        });
    m_scrolling->begin();
}

void CaptureCoordinator::captureWindow() {
    Usage::count(QStringLiteral("capture.window"));
    if (m_windowPicker) return;
    beginFlow();
    m_windowPicker = m_surfaces->makeWindowPicker();
    m_windowPicker->start([this](const std::optional<WindowPick>& pick) {
        retire(m_windowPicker);
        if (!pick) return endFlow();
        m_frontmostContext = CaptureContext::forWindow(pick->windowID);
        // The grab and the encoding leave the main thread free meanwhile.
        StillCapture::window(
            pick->windowID, this, [this](const Result<OutputPipeline::Delivered>& delivered) {
                if (!delivered)
                    showFailure(QStringLiteral("Window capture failed: "), delivered.error());
                else
                    emit captured(delivered->historyFile);
                endFlow();
            });
    });
}

void CaptureCoordinator::captureFullscreen() {
    Usage::count(QStringLiteral("capture.fullscreen"));
    beginFlow();
    m_frontmostContext = CaptureContext::frontmost();
    StillCapture::fullscreen(std::nullopt, this, [this](const Result<OutputPipeline::Delivered>& delivered) {
        if (!delivered)
            showFailure(QStringLiteral("Capture failed: "), delivered.error());
        else
            emit captured(delivered->historyFile);
        endFlow();
    });
}

void CaptureCoordinator::timedFullscreen(int seconds) {
    Usage::count(QStringLiteral("capture.timed"));
    if (m_countdown.running()) return;
    const auto display = service().displayUnderPointer();
    if (!display)
        return showFailure(QStringLiteral("Capture failed: "), ScreenCaptureService::displayNotFound());
    beginFlow();
    runCountdown(seconds, *display, [this] { captureFullscreen(); });
    endFlow();
}

void CaptureCoordinator::capturePreviousArea() {
    Usage::count(QStringLiteral("capture.previous_area"));
    const auto last = Prefs::lastArea();
    if (!last) return Toast::show(QStringLiteral("No previous area yet. Capture an area first"));
    // A display unplugged since then: the same rectangle on the display under the pointer.
    auto display = service().display(last->displayID);
    if (!display) display = service().displayUnderPointer();
    if (!display)
        return showFailure(QStringLiteral("Capture failed: "), ScreenCaptureService::displayNotFound());
    m_frontmostContext = CaptureContext::frontmost();
    beginFlow();
    captureRect(last->rect, SelectionTarget{*display, std::nullopt}, false);
    endFlow();
}

void CaptureCoordinator::captureRect(const QRectF& rect, std::optional<uint32_t> displayID, bool copyOnly) {
    std::optional<platform::DisplayInfo> display;
    if (displayID) display = service().display(*displayID);
    if (!display) display = service().displayUnderPointer();
    if (!display)
        return showFailure(QStringLiteral("Capture failed: "), ScreenCaptureService::displayNotFound());
    if (const auto fits = ScreenCaptureService::checkArea(rect, *display); !fits)
        return Toast::show(fits.error().message);
    m_frontmostContext = CaptureContext::frontmost();
    beginFlow();
    captureRect(rect, SelectionTarget{*display, std::nullopt}, copyOnly);
    endFlow();
}

// --- steps ----------------------------------------------------------------------------

void CaptureCoordinator::beginFlow() {
    if (m_openFlows++ > 0) return;
    Toast::dismiss();
    // Desktop icons stay covered from the first grab (a frozen overlay's) to the last.
    if (!Prefs::flag(QStringLiteral("hideDesktopWidgets"))) return;
    if (auto& cover = platform::services().desktopCover) cover->cover();
}

void CaptureCoordinator::endFlow() {
    if (m_openFlows == 0 || --m_openFlows > 0) return;
    if (auto& cover = platform::services().desktopCover) cover->uncover();
    emit flowFinished();
}

void CaptureCoordinator::beginAreaSelection(const QString& hint, bool showActions,
                                            std::function<void(const SelectionOutcome&)> onComplete) {
    SelectionParameters parameters;
    parameters.hint = hint;
    parameters.freeze = Prefs::flag(QStringLiteral("freezeScreen"));
    parameters.showActions = showActions;
    if (showActions) parameters.actions = availableActions();
    beginAreaSelection(std::move(parameters), std::move(onComplete));
}

void CaptureCoordinator::beginAreaSelection(SelectionParameters parameters,
                                            std::function<void(const SelectionOutcome&)> onComplete) {
    // Named before the overlay takes the focus, so files carry the user's application.
    m_frontmostContext = CaptureContext::frontmost();
    beginFlow();
    parameters.showMagnifier = Prefs::flag(QStringLiteral("showMagnifier"));
    m_selection = m_surfaces->makeAreaSelection(parameters);
    QPointer<CaptureCoordinator> self(this);
    m_selection->start([self, onComplete = std::move(onComplete)](const SelectionOutcome& outcome) {
        if (!self) return;
        self->retire(self->m_selection);
        onComplete(outcome);
        // A countdown that follows keeps the flow open until it ends.
        self->endFlow();
    });
}

void CaptureCoordinator::handleSelection(const SelectionOutcome& outcome) {
    switch (outcome.kind) {
    case SelectionOutcome::Kind::selected:
        return captureRect(outcome.rect, outcome.target, false);
    case SelectionOutcome::Kind::action:
        return handleAction(outcome.action, outcome.rect, outcome.target);
    case SelectionOutcome::Kind::cancelled:
    case SelectionOutcome::Kind::switchToWindowPicker:
        return;
    }
}

void CaptureCoordinator::handleAction(SelectionAction action, const QRectF& rect,
                                      const SelectionTarget& target) {
    switch (action) {
    case SelectionAction::capture:
        return captureRect(rect, target, false);
    case SelectionAction::copy:
        return captureRect(rect, target, true);
    case SelectionAction::ocr:
        return readText(rect, target);
    case SelectionAction::pin: {
        const auto grab = image(rect, target);
        if (!grab) return showFailure(QStringLiteral("Capture failed: "), grab.error());
        const QRect pixels = QRectF(rect.topLeft() * grab->scale, rect.size() * grab->scale).toAlignedRect();
        m_surfaces->pin(grab->image, grab->scale, pixels.translated(target.display.geometry.topLeft()));
        return;
    }
    case SelectionAction::record:
    case SelectionAction::gif:
        if (!mayStartRecording()) return;
        return recordSource(RecordingSource::area(rect, target.display.id), action == SelectionAction::gif,
                            QStringLiteral("Could not start recording: "));
    case SelectionAction::scroll: {
        if (const auto missing = scrollingUnavailable(false)) return Toast::show(*missing);
        const SelectionTarget live{target.display, std::nullopt};
        const double scale = service().displayScale(live.display);
        return startScrolling(rect, live, Prefs::scrollAxis(), [this, scale](std::optional<QImage> image) {
            if (image) deliverImage(*image, scale, false);
        });
    }
    }
}

void CaptureCoordinator::captureRect(const QRectF& rect, const SelectionTarget& target, bool copyOnly) {
    const auto grab = image(rect, target);
    if (!grab) {
        if (grab.error().message == offScreen) return Toast::show(offScreen);
        return showFailure(QStringLiteral("Capture failed: "), grab.error());
    }
    Prefs::setLastArea(Prefs::Area{rect, target.display.id});
    deliverImage(grab->image, grab->scale, copyOnly);
}

void CaptureCoordinator::deliverImage(const QImage& image, double scale, bool copyOnly) {
    const DeliveryOptions options = copyOnly ? DeliveryOptions::copyOnly() : DeliveryOptions{};
    // Beautifying and encoding run on a worker thread: the overlay closes and the app
    // answers while a large area is compressed.
    beginFlow();
    QtConcurrent::run([image, scale, preparation = OutputPipeline::preparationFor(options, false)] {
        return OutputPipeline::prepare(image, scale, preparation);
    })
        .then(this, [this, copyOnly, options,
                     context = m_frontmostContext](const OutputPipeline::Prepared& prepared) {
            const auto delivered = OutputPipeline::deliverPrepared(prepared, copyOnly, context, options);
            if (delivered && !delivered->historyFile.isEmpty()) emit captured(delivered->historyFile);
            endFlow();
        });
}

void CaptureCoordinator::readText(const QRectF& rect, const SelectionTarget& target) {
    const auto grab = image(rect, target);
    if (!grab) return showFailure(QStringLiteral("Text recognition failed: "), grab.error());
    struct Read {
        Result<QString> text;
        QStringList codes;
    };
    beginFlow();
    QtConcurrent::run([image = grab->image] {
        return std::make_shared<Read>(
            Read{TextRecognizer::recognize(image), TextRecognizer::barcodePayloads(image)});
    }).then(this, [this](const std::shared_ptr<Read>& read) {
        if (read->text)
            OutputPipeline::deliverText(*read->text, read->codes);
        else
            showFailure(QStringLiteral("Text recognition failed: "), read->text.error());
        endFlow();
    });
}

void CaptureCoordinator::runCountdown(int seconds, const platform::DisplayInfo& display,
                                      std::function<void()> then) {
    beginFlow();
    m_countdown.run(seconds, display, [this, seconds, then = std::move(then)](bool completed) {
        if (!completed) return endFlow();
        // The panel was on screen: let the windows it covered repaint before the grab.
        const auto wait = seconds >= 1 ? m_settle : std::chrono::milliseconds(0);
        QTimer::singleShot(wait, this, [this, then] {
            then();
            endFlow();
        });
    });
}

Result<CaptureCoordinator::Grab> CaptureCoordinator::image(const QRectF& rect,
                                                           const SelectionTarget& target) const {
    const double scale = service().displayScale(target.display);
    if (!target.frozen) {
        auto live = service().captureArea(rect, target.display);
        if (!live) return live.error();
        return Grab{*live, scale};
    }
    const QRect pixels = QRectF(rect.topLeft() * scale, rect.size() * scale)
                             .toAlignedRect()
                             .intersected(target.frozen->rect());
    if (pixels.isEmpty()) return Error{offScreen};
    return Grab{target.frozen->copy(pixels), scale};
}

template <typename T> void CaptureCoordinator::retire(std::unique_ptr<T>& slot) {
    // The controller is still on the stack that called us: it goes once that returns.
    std::shared_ptr<T> dying(std::move(slot));
    QTimer::singleShot(0, this, [dying] {});
}
