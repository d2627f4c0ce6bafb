#pragma once

// Qt and the libraries it wraps (libpng, the X connection, fonts) warn on stderr about
// things a user can do nothing about, ahead of Pictavia's own message. Only Pictavia's
// categories ("pictavia", "pictavia.x11", ...) reach stderr; PICTAVIA_DEBUG=1 in the
// environment lets everything through for diagnosis.
namespace MessageFilter {

void install();

} // namespace MessageFilter
