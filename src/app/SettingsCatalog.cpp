#include "app/SettingsCatalog.h"

#include "app/Hotkeys.h"
#include "editor/BackgroundStyle.h"

#include <QRegularExpression>

#include <algorithm>

namespace SettingsCatalog {
namespace {

Setting toggle(const char* key, const QString& section, const QString& title, const QString& detail) {
    return {QString::fromLatin1(key), section, title, detail, Control::Toggle, {}, 0, 0, {}};
}

Setting number(const char* key, const QString& section, const QString& title, const QString& detail,
               int minimum, int maximum, const QString& unit = {}) {
    return {QString::fromLatin1(key), section, title, detail, Control::Number, {}, minimum, maximum, unit};
}

Setting choice(const char* key, const QString& section, const QString& title, const QString& detail,
               QList<Choice> choices) {
    return {QString::fromLatin1(key), section, title, detail, Control::Choice, std::move(choices), 0, 0, {}};
}

Setting text(const char* key, const QString& section, const QString& title, const QString& detail,
             Control control = Control::Text) {
    return {QString::fromLatin1(key), section, title, detail, control, {}, 0, 0, {}};
}

QList<Choice> backgroundChoices() {
    QList<Choice> choices;
    for (const BackgroundStyle style : Backgrounds::allCases())
        if (!Backgrounds::isImageBacked(style))
            choices.append({Backgrounds::raw(style), Backgrounds::label(style)});
    return choices;
}

// The capture flows' global hotkeys, with their default keys in the words so that searching
// for a key ("print") finds the hotkeys that use it.
QList<Setting> hotkeySettings(const QString& section) {
    QList<Setting> list;
    for (const Hotkeys::Binding& binding : Hotkeys::captureBindings({})) {
        const QString detail =
            binding.defaultKeys.isEmpty()
                ? QStringLiteral("A global hotkey that works in every app; none by default")
                : QStringLiteral("A global hotkey that works in every app; %1 by default")
                      .arg(Hotkeys::readable(binding.defaultKeys));
        list.append(
            {Hotkeys::prefKey(binding.name), section, binding.title, detail, Control::Hotkey, {}, 0, 0, {}});
    }
    return list;
}

QList<Setting> makeSettings() {
    const QString capture = QStringLiteral("Capture");
    const QString files = QStringLiteral("Files");
    const QString after = QStringLiteral("After Capture");
    const QString quick = QStringLiteral("Quick Access");
    const QString recording = QStringLiteral("Recording");
    const QString gif = QStringLiteral("GIF");
    const QString camera = QStringLiteral("Camera");
    const QString beautify = QStringLiteral("Beautify");
    const QString history = QStringLiteral("History");
    const QString shell = QStringLiteral("Tray and Window");
    const QString privacy = QStringLiteral("Privacy");
    const auto section = [&](const char* name) {
        return QStringLiteral("Show the %1 section in the tray menu").arg(QString::fromLatin1(name));
    };
    QList<Setting> list = {
        toggle("freezeScreen", capture, QStringLiteral("Freeze the screen while selecting"),
               QStringLiteral("Select from a still picture, so menus and videos hold still")),
        toggle("showMagnifier", capture, QStringLiteral("Show the magnifier"),
               QStringLiteral("A loupe beside the pointer for pixel-exact selections")),
        toggle("windowShadow", capture, QStringLiteral("Window shadow"),
               QStringLiteral("Add a drop shadow to window captures")),
        toggle("hideDesktopWidgets", capture, QStringLiteral("Hide desktop icons"),
               QStringLiteral("Cover desktop icons and widgets while capturing")),
        toggle("captureSound", capture, QStringLiteral("Play the shutter sound"),
               QStringLiteral("A camera sound after each capture")),
        toggle("cropNotch", capture, QStringLiteral("Crop the display notch"),
               QStringLiteral("Cut the notch strip from full-screen captures of notched displays")),
        choice("scrollAxis", capture, QStringLiteral("Scrolling direction"),
               QStringLiteral("Which way scrolling captures follow the page"),
               {{QStringLiteral("auto"), QStringLiteral("Automatic")},
                {QStringLiteral("vertical"), QStringLiteral("Vertical")},
                {QStringLiteral("horizontal"), QStringLiteral("Horizontal")}}),

        toggle("copyToClipboard", after, QStringLiteral("Copy to the clipboard"),
               QStringLiteral("Every capture is ready to paste")),
        toggle("autoSaveToDisk", after, QStringLiteral("Save to the save folder"),
               QStringLiteral("Write every capture to the save folder as well as the history")),
        toggle("askForName", after, QStringLiteral("Ask for a name"),
               QStringLiteral("Name each capture before it is saved")),
        choice("postAction", after, QStringLiteral("Then run"),
               QStringLiteral("An action run after each capture"),
               {{QStringLiteral("none"), QStringLiteral("Nothing")},
                {QStringLiteral("script"), QStringLiteral("A script")},
                {QStringLiteral("shortcut"), QStringLiteral("A shortcut command")}}),
        text("postActionScript", after, QStringLiteral("Script"),
             QStringLiteral("Run with the capture's path as its argument"), Control::File),
        text("postActionShortcut", after, QStringLiteral("Shortcut command"),
             QStringLiteral("The command the shortcut action runs")),
        choice("postActionScope", after, QStringLiteral("Run it for"),
               QStringLiteral("Which captures the action follows"),
               {{QStringLiteral("both"), QStringLiteral("Screenshots and recordings")},
                {QStringLiteral("images"), QStringLiteral("Screenshots only")},
                {QStringLiteral("recordings"), QStringLiteral("Recordings only")}}),

        choice("imageFormat", files, QStringLiteral("Image format"),
               QStringLiteral("The file format of saved screenshots"),
               {{QStringLiteral("png"), QStringLiteral("PNG")},
                {QStringLiteral("jpg"), QStringLiteral("JPEG")},
                {QStringLiteral("heic"), QStringLiteral("HEIC")},
                {QStringLiteral("webp"), QStringLiteral("WebP")}}),
        {QStringLiteral("jpegQuality"),
         files,
         QStringLiteral("Compression quality"),
         QStringLiteral("Quality of JPEG, HEIC and WebP files; lower is smaller"),
         Control::Percent,
         {},
         10,
         100,
         QStringLiteral("%")},
        toggle("convertToSRGB", files, QStringLiteral("Convert to sRGB"),
               QStringLiteral("Convert colours to sRGB before saving, for the web")),
        toggle("downscaleRetina", files, QStringLiteral("Save high-density captures at 1×"),
               QStringLiteral("Halve the pixels of 2× captures")),
        toggle("retinaSuffix", files, QStringLiteral("Add @2x to high-density file names"),
               QStringLiteral("Mark 2× captures in their names")),
        text("saveDirectory", files, QStringLiteral("Save folder"), QStringLiteral("Where saved captures go"),
             Control::Folder),
        text("filenameTemplate", files, QStringLiteral("File name"),
             QStringLiteral("{date}, {time}, {app}, {window}, {counter} are filled in")),
        number("captureCounter", files, QStringLiteral("Next counter"),
               QStringLiteral("The value {counter} gives the next file name"), 0, 999999),
        toggle("saveEditableProjects", files, QStringLiteral("Keep captures editable"),
               QStringLiteral("Save a project beside each capture so its annotations can be changed later")),

        toggle("showQuickAccess", quick, QStringLiteral("Show the quick-access thumbnail"),
               QStringLiteral("A floating card after each capture to drag, copy, save or edit")),
        choice("qaoSize", quick, QStringLiteral("Thumbnail size"),
               QStringLiteral("Size of the floating card"),
               {{QStringLiteral("small"), QStringLiteral("Small")},
                {QStringLiteral("medium"), QStringLiteral("Medium")},
                {QStringLiteral("large"), QStringLiteral("Large")}}),
        number("qaoAutoDismiss", quick, QStringLiteral("Close the thumbnail after"),
               QStringLiteral("Seconds until the card goes away; 0 keeps it"), 0, 600, QStringLiteral("s")),

        number("recFPS", recording, QStringLiteral("Frame rate"),
               QStringLiteral("Frames per second of movies"), 10, 60, QStringLiteral("fps")),
        choice("recMaxResolution", recording, QStringLiteral("Largest resolution"),
               QStringLiteral("Recordings are scaled down to fit"),
               {{QStringLiteral("native"), QStringLiteral("Native")},
                {QStringLiteral("uhd"), QStringLiteral("4K (3840)")},
                {QStringLiteral("fullHD"), QStringLiteral("Full HD (1920)")},
                {QStringLiteral("hd"), QStringLiteral("HD (1280)")}}),
        choice("recCodec", recording, QStringLiteral("Video codec"),
               QStringLiteral("How movies are compressed"),
               {{QStringLiteral("h264"), QStringLiteral("H.264 (plays everywhere)")},
                {QStringLiteral("hevc"), QStringLiteral("HEVC (smaller files)")}}),
        toggle("recShowCursor", recording, QStringLiteral("Show the pointer"),
               QStringLiteral("Draw the mouse pointer in recordings")),
        toggle("recShowClicks", recording, QStringLiteral("Highlight clicks"),
               QStringLiteral("A ripple where the mouse clicks")),
        toggle("recShowKeystrokes", recording, QStringLiteral("Show keystrokes"),
               QStringLiteral("Pressed keys appear at the bottom of the recording")),
        toggle("recMic", recording, QStringLiteral("Record the microphone"),
               QStringLiteral("Your voice in recordings")),
        toggle("recSystemAudio", recording, QStringLiteral("Record system audio"),
               QStringLiteral("The sound the computer plays")),
        toggle("recMonoAudio", recording, QStringLiteral("Mono audio"),
               QStringLiteral("Mix the sound to one channel")),
        toggle("recCleanVoice", recording, QStringLiteral("Clean up the voice"),
               QStringLiteral("Level the voice and lower background noise")),
        number("recCountdown", recording, QStringLiteral("Countdown"),
               QStringLiteral("Seconds before a recording starts; 0 starts at once"), 0, 10,
               QStringLiteral("s")),
        toggle("recPreventSleep", recording, QStringLiteral("Keep the computer awake"),
               QStringLiteral("No screen saver or sleep while recording")),
        toggle("recShowHUD", recording, QStringLiteral("Show the recording controls"),
               QStringLiteral("A small panel to pause and stop")),
        toggle("recStudio", recording, QStringLiteral("Studio look"),
               QStringLiteral("Keep the pointer, clicks and camera apart for the video editor")),
        text("recStartShortcut", recording, QStringLiteral("When a recording starts, run"),
             QStringLiteral("A command, for example to turn on do-not-disturb")),
        text("recStopShortcut", recording, QStringLiteral("When a recording stops, run"),
             QStringLiteral("A command run after the recording ends")),

        number("gifFPS", gif, QStringLiteral("GIF frame rate"), QStringLiteral("Frames per second of GIFs"),
               1, 30, QStringLiteral("fps")),
        number("gifMaxWidth", gif, QStringLiteral("Largest GIF width"),
               QStringLiteral("Wider GIFs are scaled down"), 100, 3840, QStringLiteral("px")),
        choice("gifQuality", gif, QStringLiteral("GIF quality"),
               QStringLiteral("Sharper colours or smaller files"),
               {{QStringLiteral("balanced"), QStringLiteral("Balanced")},
                {QStringLiteral("sharp"), QStringLiteral("Sharp")},
                {QStringLiteral("small"), QStringLiteral("Small")}}),

        toggle("recWebcam", camera, QStringLiteral("Show the webcam"),
               QStringLiteral("Your camera in a bubble over the recording")),
        text("recCameraID", camera, QStringLiteral("Camera"),
             QStringLiteral("The camera's identifier; empty uses the default camera")),
        toggle("recMirrorCamera", camera, QStringLiteral("Mirror the camera"),
               QStringLiteral("Flip the webcam image like a mirror")),
        toggle("recPresenterOverlay", camera, QStringLiteral("Presenter overlay"),
               QStringLiteral("Place yourself in front of what you show")),

        toggle("autoBeautify", beautify, QStringLiteral("Beautify every capture"),
               QStringLiteral("Apply the active preset's background to each capture")),
        choice("beautifyStyle", beautify, QStringLiteral("Background"),
               QStringLiteral("The background beautify starts with"), backgroundChoices()),
        number("beautifyPadding", beautify, QStringLiteral("Padding"),
               QStringLiteral("Space around the capture"), 0, 400, QStringLiteral("pt")),
        number("beautifyRadius", beautify, QStringLiteral("Corner radius"),
               QStringLiteral("Rounding of the capture's corners"), 0, 100, QStringLiteral("pt")),

        number("historyLimit", history, QStringLiteral("Captures to keep"),
               QStringLiteral("Older captures are removed from the library; kept ones stay"), 1, 100000),

        toggle("showHomeAtLaunch", shell, QStringLiteral("Open this window at start"),
               QStringLiteral("Show the home page when Pictavia starts")),
        toggle("menuBarShowIcon", shell, QStringLiteral("Show the tray icon"),
               QStringLiteral("Pictavia's icon in the panel's tray")),
        choice("menuBarIcon", shell, QStringLiteral("Tray icon"),
               QStringLiteral("Which picture the tray shows"),
               {{QStringLiteral("mark"), QStringLiteral("Pictavia mark")},
                {QStringLiteral("camera"), QStringLiteral("Camera")},
                {QStringLiteral("monochrome"), QStringLiteral("Monochrome")}}),
        toggle("menuBarTimer", shell, QStringLiteral("Show the recording time"),
               QStringLiteral("Elapsed time beside the tray icon while recording")),
        choice("menuBarClick", shell, QStringLiteral("Clicking the tray icon"),
               QStringLiteral("What a click on the icon does"),
               {{QStringLiteral("menu"), QStringLiteral("Opens the menu")},
                {QStringLiteral("capture-area"), QStringLiteral("Captures an area")},
                {QStringLiteral("capture-fullscreen"), QStringLiteral("Captures the screen")},
                {QStringLiteral("all-in-one"), QStringLiteral("Opens all-in-one")}}),
        toggle("menuBarShortcutHints", shell, QStringLiteral("Show shortcuts in the menu"),
               QStringLiteral("Hotkeys beside the menu's items")),
        choice("dockIcon", shell, QStringLiteral("Taskbar entry"),
               QStringLiteral("When Pictavia appears in the taskbar"),
               {{QStringLiteral("whileOpen"), QStringLiteral("While a window is open")},
                {QStringLiteral("always"), QStringLiteral("Always")},
                {QStringLiteral("never"), QStringLiteral("Never")}}),
        toggle("menuBar.show.recording", shell, QStringLiteral("Recording items"), section("recording")),
        toggle("menuBar.show.tools", shell, QStringLiteral("Tool items"), section("tools")),
        toggle("menuBar.show.desktop", shell, QStringLiteral("Desktop items"), section("desktop")),
        toggle("menuBar.show.files", shell, QStringLiteral("File items"), section("files")),
        toggle("menuBar.show.agents", shell, QStringLiteral("AI agent items"), section("AI agents")),

        toggle("shareStats", privacy, QStringLiteral("Share anonymous statistics"),
               QStringLiteral("Counts of features used, never captures or text")),
    };
    // Right after the capture settings, the flows they start.
    qsizetype at = 0;
    while (at < list.size() && list[at].section == capture)
        ++at;
    for (const Setting& hotkey : hotkeySettings(QStringLiteral("Keyboard Shortcuts")))
        list.insert(at++, hotkey);
    return list;
}

} // namespace

const QStringList& sections() {
    static const QStringList list = [] {
        QStringList names;
        for (const Setting& setting : settings())
            if (!names.contains(setting.section)) names << setting.section;
        return names;
    }();
    return list;
}

std::optional<QString> sectionNamed(const QString& name) {
    const auto folded = [](QString text) { return text.toLower().remove(u' ').remove(u'_').remove(u'-'); };
    const QString wanted = folded(name);
    for (const QString& section : sections())
        if (folded(section) == wanted) return section;
    return std::nullopt;
}

const QList<Setting>& settings() {
    static const QList<Setting> list = makeSettings();
    return list;
}

const Setting* find(const QString& key) {
    for (const Setting& setting : settings())
        if (setting.key == key) return &setting;
    return nullptr;
}

bool matches(const Setting& setting, const QString& query) {
    QString haystack = setting.title + u'\n' + setting.detail + u'\n' + setting.section + u'\n' + setting.key;
    for (const Choice& choice : setting.choices)
        haystack += u'\n' + choice.label;
    const QStringList words = query.split(QRegularExpression(QStringLiteral("\\s+")), Qt::SkipEmptyParts);
    return std::all_of(words.begin(), words.end(),
                       [&](const QString& word) { return haystack.contains(word, Qt::CaseInsensitive); });
}

} // namespace SettingsCatalog
