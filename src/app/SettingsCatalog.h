#pragma once

#include <QList>
#include <QString>
#include <QVariant>

#include <optional>

// What the settings page shows for each preference: its section, a title and a line of
// explanation in the user's words, and the kind of control that edits it. Found by the
// words of a search.
namespace SettingsCatalog {

enum class Control {
    Toggle,  // a flag
    Number,  // an integer between minimum and maximum
    Percent, // a real 0…1 shown as a percentage
    Choice,  // one of `choices`
    Text,    // free text
    Folder,  // a folder path, with a chooser
    File,    // a file path, with a chooser
    Hotkey,  // a global key combination under [Hotkeys], recorded from the keyboard
};

struct Choice {
    QString value;
    QString label;
};

struct Setting {
    QString key;
    QString section;
    QString title;
    QString detail;
    Control control = Control::Toggle;
    QList<Choice> choices;
    int minimum = 0;
    int maximum = 0;
    QString unit; // after a number: "s", "px", "fps"…
};

// The sections, in page order.
const QStringList& sections();
// The section a name means, ignoring case, spaces, "_" and "-" ("after_capture" is
// "After Capture"); none when no section has that name.
std::optional<QString> sectionNamed(const QString& name);
// Every preference with a registered default and every global hotkey, in page order.
const QList<Setting>& settings();
const Setting* find(const QString& key);

// Every word of the query (case-insensitive) occurs in the setting's title, detail,
// section, key or choice labels. An empty query matches everything.
bool matches(const Setting& setting, const QString& query);

} // namespace SettingsCatalog
