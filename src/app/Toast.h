#pragma once

#include <QString>

// A short message near the pointer; every user-facing failure of a flow is one.
namespace Toast {

inline constexpr double defaultSeconds = 2.2;

void show(const QString& text, double seconds = defaultSeconds);
void dismiss();

} // namespace Toast
