#include "bridge/Bridge.h"

#include "platform/posix/ProcessTable.h"

#include <algorithm>

namespace bridge {

namespace {

// A forgiving walk over JSON text: enough to find ids, never a full check.
class Scanner {
public:
    explicit Scanner(std::string_view text) : m_text(text) {}

    void space() {
        while (m_at < m_text.size() &&
               (m_text[m_at] == ' ' || m_text[m_at] == '\t' || m_text[m_at] == '\r' || m_text[m_at] == '\n'))
            ++m_at;
    }
    bool at(char c) {
        space();
        return m_at < m_text.size() && m_text[m_at] == c;
    }
    bool take(char c) {
        if (!at(c)) return false;
        ++m_at;
        return true;
    }
    bool end() {
        space();
        return m_at == m_text.size();
    }

    // The text of the next value, or nullopt-like empty view when it is malformed.
    bool value(std::string_view& out) {
        space();
        const std::size_t start = m_at;
        if (m_at >= m_text.size()) return false;
        const char c = m_text[m_at];
        if (c == '"') {
            if (!string()) return false;
        } else if (c == '{' || c == '[') {
            int depth = 0;
            while (m_at < m_text.size()) {
                const char d = m_text[m_at];
                if (d == '"') {
                    if (!string()) return false;
                    continue;
                }
                if (d == '{' || d == '[') ++depth;
                if (d == '}' || d == ']') --depth;
                ++m_at;
                if (depth == 0) break;
            }
            if (depth != 0) return false;
        } else {
            while (m_at < m_text.size() &&
                   std::string_view(",]} \t\r\n").find(m_text[m_at]) == std::string_view::npos)
                ++m_at;
            if (m_at == start) return false;
        }
        out = m_text.substr(start, m_at - start);
        return true;
    }

    bool string() {
        ++m_at;
        while (m_at < m_text.size() && m_text[m_at] != '"')
            m_at += m_text[m_at] == '\\' ? 2 : 1;
        if (m_at >= m_text.size()) return false;
        ++m_at;
        return true;
    }

    // The id of the object starting here: true when the object is readable.
    bool object(std::string_view& id) {
        if (!take('{')) return false;
        if (take('}')) return true;
        while (true) {
            std::string_view key, member;
            if (!at('"') || !value(key) || !take(':') || !value(member)) return false;
            if (key == "\"id\"") id = member;
            if (take('}')) return true;
            if (!take(',')) return false;
        }
    }

private:
    std::string_view m_text;
    std::size_t m_at = 0;
};

bool isSessionVariable(std::string_view name) {
    static const std::string_view exact[] = {
        "DISPLAY", "WAYLAND_DISPLAY", "XAUTHORITY",     "DBUS_SESSION_BUS_ADDRESS",
        "LANG",    "LANGUAGE",        "DESKTOP_SESSION"};
    if (std::find(std::begin(exact), std::end(exact), name) != std::end(exact)) return true;
    return name.rfind("XDG_", 0) == 0 || name.rfind("LC_", 0) == 0 || name.rfind("QT_", 0) == 0;
}

std::string_view nameOf(std::string_view entry) {
    return entry.substr(0, entry.find('='));
}

bool hasDisplay(const std::vector<std::string>& environment) {
    return std::any_of(environment.begin(), environment.end(), [](const std::string& entry) {
        const std::string_view name = nameOf(entry);
        return (name == "DISPLAY" || name == "WAYLAND_DISPLAY") && entry.size() > name.size() + 1;
    });
}

} // namespace

std::vector<std::string> requestIds(std::string_view line) {
    Scanner scanner(line);
    std::vector<std::string> ids;
    auto add = [&](std::string_view id) {
        if (!id.empty() && id != "null") ids.emplace_back(id);
    };
    if (scanner.at('[')) {
        scanner.take('[');
        if (scanner.take(']') && scanner.end()) return ids;
        while (true) {
            std::string_view id, element;
            if (scanner.at('{')) {
                if (!scanner.object(id)) return {"null"};
                add(id);
            } else if (!scanner.value(element)) {
                return {"null"};
            }
            if (scanner.take(']')) break;
            if (!scanner.take(',')) return {"null"};
        }
    } else {
        std::string_view id;
        if (!scanner.object(id)) return {"null"};
        add(id);
    }
    if (!scanner.end()) return {"null"};
    return ids;
}

std::string errorReply(std::string_view id, std::string_view message) {
    std::string reply = R"({"jsonrpc":"2.0","id":)";
    reply += id;
    reply += R"(,"error":{"code":-32000,"message":")";
    for (const char c : message) {
        if (c == '"' || c == '\\') reply += '\\';
        reply += c;
    }
    reply += "\"}}";
    return reply;
}

std::vector<std::string> launchEnvironment(const std::vector<std::string>& own, pid_t parent,
                                           const std::string& procRoot) {
    std::vector<std::string> environment = own;
    if (hasDisplay(environment)) return environment;
    pid_t pid = parent;
    for (int depth = 0; depth < 12 && pid > 1; ++depth) {
        const auto text = posix::environmentOf(pid, procRoot);
        if (text) {
            std::vector<std::string> theirs;
            for (std::size_t start = 0; start < text->size();) {
                const std::size_t end = std::min(text->find('\0', start), text->size());
                if (end > start) theirs.emplace_back(text->substr(start, end - start));
                start = end + 1;
            }
            if (hasDisplay(theirs)) {
                for (const std::string& entry : theirs) {
                    const std::string_view name = nameOf(entry);
                    const bool set = std::any_of(environment.begin(), environment.end(),
                                                 [&](const std::string& e) { return nameOf(e) == name; });
                    if (!set && isSessionVariable(name)) environment.push_back(entry);
                }
                return environment;
            }
        }
        const auto next = posix::parentOf(pid, procRoot);
        if (!next) break;
        pid = *next;
    }
    return {};
}

} // namespace bridge
