#pragma once

#include "common/Result.h"

#include <QByteArray>
#include <QVariant>

// Binary property lists ("bplist00") to and from Qt values: maps, lists, strings,
// integers, reals, booleans, byte arrays and date-times.
namespace BinaryPropertyList {

QByteArray encode(const QVariant& value);
// Fails with a sentence when the bytes are not a binary property list.
Result<QVariant> decode(const QByteArray& bytes);

} // namespace BinaryPropertyList
