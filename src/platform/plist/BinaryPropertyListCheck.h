#pragma once

#include <QByteArray>
#include <QString>

namespace BinaryPropertyList {

// Checks that the bytes are a well-formed "bplist00" file before any parser walks them:
// the trailer, offset table and every reachable object stay inside the file, references
// point at objects, dictionary keys are strings, and nesting and shared references stay
// within sane limits. Empty when the structure is sound, otherwise a sentence for the user.
QString structuralProblem(const QByteArray& bytes);

} // namespace BinaryPropertyList
