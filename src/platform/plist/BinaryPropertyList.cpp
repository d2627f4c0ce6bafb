#include "platform/plist/BinaryPropertyList.h"

#include "platform/plist/BinaryPropertyListCheck.h"

#include <QDateTime>
#include <QStringList>

#include <plist/plist.h>

#include <cstdint>
#include <cstdlib>
#include <memory>

namespace BinaryPropertyList {

namespace {

// Property-list dates count seconds from 2001-01-01 00:00 UTC.
const QDateTime& referenceDate() {
    static const QDateTime reference(QDate(2001, 1, 1), QTime(0, 0), Qt::UTC);
    return reference;
}

struct PlistDeleter {
    void operator()(plist_t node) const { plist_free(node); }
};
using PlistPtr = std::unique_ptr<void, PlistDeleter>;

// Strings libplist hands out are malloc'ed and owned by the caller.
QString takeString(char* text) {
    QString result = QString::fromUtf8(text);
    std::free(text);
    return result;
}

plist_t toNode(const QVariant& value);

plist_t dictNode(const QVariantMap& map) {
    plist_t dict = plist_new_dict();
    for (auto it = map.cbegin(); it != map.cend(); ++it) {
        if (plist_t child = toNode(it.value()))
            plist_dict_set_item(dict, it.key().toUtf8().constData(), child);
    }
    return dict;
}

plist_t arrayNode(const QVariantList& list) {
    plist_t array = plist_new_array();
    for (const QVariant& item : list) {
        if (plist_t child = toNode(item)) plist_array_append_item(array, child);
    }
    return array;
}

plist_t dateNode(const QDateTime& dateTime) {
    const qint64 msecs = referenceDate().msecsTo(dateTime);
    // Floor division keeps the microseconds non-negative for dates before 2001.
    qint64 seconds = msecs / 1000;
    qint64 remainder = msecs % 1000;
    if (remainder < 0) {
        --seconds;
        remainder += 1000;
    }
    return plist_new_date(static_cast<int32_t>(seconds), static_cast<int32_t>(remainder * 1000));
}

// Null for values a property list cannot hold (invalid or unsupported variants): they
// are left out rather than written as something they are not.
plist_t toNode(const QVariant& value) {
    switch (value.typeId()) {
    case QMetaType::QVariantMap:
        return dictNode(value.toMap());
    case QMetaType::QVariantHash: {
        const QVariantHash hash = value.toHash();
        QVariantMap map;
        for (auto it = hash.cbegin(); it != hash.cend(); ++it)
            map.insert(it.key(), it.value());
        return dictNode(map);
    }
    case QMetaType::QVariantList:
    case QMetaType::QStringList:
        return arrayNode(value.toList());
    case QMetaType::QString:
        return plist_new_string(value.toString().toUtf8().constData());
    case QMetaType::Bool:
        return plist_new_bool(value.toBool() ? 1 : 0);
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
        // Stored as 64 bits, so a negative number reads back as the same qint64.
        return plist_new_uint(static_cast<uint64_t>(value.toLongLong()));
    case QMetaType::Double:
    case QMetaType::Float:
        return plist_new_real(value.toDouble());
    case QMetaType::QByteArray: {
        const QByteArray bytes = value.toByteArray();
        return plist_new_data(bytes.constData(), static_cast<uint64_t>(bytes.size()));
    }
    case QMetaType::QDateTime:
        return dateNode(value.toDateTime());
    default:
        return nullptr;
    }
}

QVariant toVariant(plist_t node) {
    switch (plist_get_node_type(node)) {
    case PLIST_DICT: {
        QVariantMap map;
        plist_dict_iter iter = nullptr;
        plist_dict_new_iter(node, &iter);
        for (;;) {
            char* key = nullptr;
            plist_t child = nullptr;
            plist_dict_next_item(node, iter, &key, &child);
            if (!child) {
                std::free(key);
                break;
            }
            map.insert(takeString(key), toVariant(child));
        }
        std::free(iter);
        return map;
    }
    case PLIST_ARRAY: {
        QVariantList list;
        const uint32_t size = plist_array_get_size(node);
        list.reserve(static_cast<qsizetype>(size));
        for (uint32_t i = 0; i < size; ++i)
            list.append(toVariant(plist_array_get_item(node, i)));
        return list;
    }
    case PLIST_STRING: {
        char* text = nullptr;
        plist_get_string_val(node, &text);
        return text ? takeString(text) : QString();
    }
    case PLIST_BOOLEAN: {
        uint8_t flag = 0;
        plist_get_bool_val(node, &flag);
        return flag != 0;
    }
    case PLIST_UINT: {
        uint64_t number = 0;
        plist_get_uint_val(node, &number);
        return static_cast<qint64>(number);
    }
    case PLIST_UID: {
        uint64_t number = 0;
        plist_get_uid_val(node, &number);
        return static_cast<qint64>(number);
    }
    case PLIST_REAL: {
        double number = 0;
        plist_get_real_val(node, &number);
        return number;
    }
    case PLIST_DATA: {
        char* bytes = nullptr;
        uint64_t length = 0;
        plist_get_data_val(node, &bytes, &length);
        QByteArray result(bytes, static_cast<qsizetype>(length));
        std::free(bytes);
        return result;
    }
    case PLIST_DATE: {
        int32_t seconds = 0;
        int32_t micros = 0;
        plist_get_date_val(node, &seconds, &micros);
        // libplist splits the stored seconds by truncation and reports the fraction's
        // magnitude, so before 2001 the fraction counts backwards.
        const qint64 fraction = seconds < 0 ? -(micros / 1000) : micros / 1000;
        return referenceDate().addMSecs(static_cast<qint64>(seconds) * 1000 + fraction);
    }
    default:
        return {};
    }
}

} // namespace

QByteArray encode(const QVariant& value) {
    PlistPtr root(toNode(value));
    if (!root) root.reset(plist_new_dict());
    char* bytes = nullptr;
    uint32_t length = 0;
    plist_to_bin(root.get(), &bytes, &length);
    QByteArray result(bytes, static_cast<qsizetype>(length));
    plist_to_bin_free(bytes);
    return result;
}

Result<QVariant> decode(const QByteArray& bytes) {
    // The parser trusts more of the file than it should, so the structure is checked
    // first: libplist only ever sees well-formed tables.
    if (const QString problem = structuralProblem(bytes); !problem.isEmpty()) return Error{problem};
    plist_t parsed = nullptr;
    plist_from_bin(bytes.constData(), static_cast<uint32_t>(bytes.size()), &parsed);
    PlistPtr root(parsed);
    if (!root) return Error{QStringLiteral("The file is damaged: its property list could not be read.")};
    return toVariant(root.get());
}

} // namespace BinaryPropertyList
