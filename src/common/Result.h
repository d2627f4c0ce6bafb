#pragma once

#include <QString>

#include <utility>
#include <variant>

// The error of a failed operation: a sentence ready to show the user, plus the
// domain and code that callers (and agents) can match on.
struct Error {
    QString message;
    QString domain = QStringLiteral("com.corvanta.pictavia");
    int code = 1;
};

// A value or an Error. Kept minimal: the toolchain's clang-tidy cannot parse std::expected.
template <typename T> class Result {
public:
    Result(T value) : m_state(std::move(value)) {}
    Result(Error error) : m_state(std::move(error)) {}

    bool ok() const { return std::holds_alternative<T>(m_state); }
    explicit operator bool() const { return ok(); }

    const T& value() const& { return std::get<T>(m_state); }
    T& value() & { return std::get<T>(m_state); }
    T&& value() && { return std::get<T>(std::move(m_state)); }
    const T& operator*() const& { return value(); }
    const T* operator->() const { return &value(); }

    const Error& error() const { return std::get<Error>(m_state); }

private:
    std::variant<T, Error> m_state;
};
