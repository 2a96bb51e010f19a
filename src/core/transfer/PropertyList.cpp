#include "core/transfer/PropertyList.h"

#include <plist/plist.h>

#include <cstdlib>
#include <cstring>
#include <limits>

#include "core/base/Iso8601.h"
#include "core/transfer/ImportError.h"

namespace wordloom {
namespace {

plist_t node(void* p) {
    return static_cast<plist_t>(p);
}

void freeList(void* p) {
    if (p) {
        plist_free(static_cast<plist_t>(p));
    }
}

}  // namespace

bool PropertyListValue::isDictionary() const {
    return node_ && plist_get_node_type(node(node_)) == PLIST_DICT;
}

bool PropertyListValue::isArray() const {
    return node_ && plist_get_node_type(node(node_)) == PLIST_ARRAY;
}

PropertyListValue PropertyListValue::operator[](const char* key) const {
    if (!isDictionary()) {
        return PropertyListValue();
    }
    return PropertyListValue(plist_dict_get_item(node(node_), key));
}

std::vector<PropertyListValue> PropertyListValue::elements() const {
    std::vector<PropertyListValue> out;
    if (!isArray()) {
        return out;
    }
    const auto size = plist_array_get_size(node(node_));
    out.reserve(size);
    for (std::uint32_t i = 0; i < size; ++i) {
        out.emplace_back(plist_array_get_item(node(node_), i));
    }
    return out;
}

std::vector<std::string> PropertyListValue::keys() const {
    std::vector<std::string> out;
    if (!isDictionary()) {
        return out;
    }
    plist_dict_iter iter = nullptr;
    plist_dict_new_iter(node(node_), &iter);
    while (iter) {
        char* key = nullptr;
        plist_t value = nullptr;
        plist_dict_next_item(node(node_), iter, &key, &value);
        if (!key) {
            break;
        }
        out.emplace_back(key);
        std::free(key);
    }
    std::free(iter);
    return out;
}

std::optional<std::string> PropertyListValue::string() const {
    if (!node_ || plist_get_node_type(node(node_)) != PLIST_STRING) {
        return std::nullopt;
    }
    // The pointer form: the copying getter asserts on a string holding a NUL byte, which a
    // damaged or hostile file can contain. libplist keeps such a string only up to the NUL.
    std::uint64_t length = 0;
    const char* value = plist_get_string_ptr(node(node_), &length);
    if (!value) {
        return std::string();
    }
    return std::string(value, strnlen(value, static_cast<std::size_t>(length)));
}

std::optional<std::int64_t> PropertyListValue::integer() const {
    if (!node_ || plist_get_node_type(node(node_)) != PLIST_UINT) {
        return std::nullopt;
    }
    std::uint64_t value = 0;
    plist_get_uint_val(node(node_), &value);
    // libplist keeps negative integers in the same 64 bits.
    return static_cast<std::int64_t>(value);
}

std::optional<bool> PropertyListValue::boolean() const {
    if (!node_ || plist_get_node_type(node(node_)) != PLIST_BOOLEAN) {
        return std::nullopt;
    }
    std::uint8_t value = 0;
    plist_get_bool_val(node(node_), &value);
    return value != 0;
}

std::optional<Timestamp> PropertyListValue::date() const {
    if (!node_ || plist_get_node_type(node(node_)) != PLIST_DATE) {
        return std::nullopt;
    }
    std::int32_t seconds = 0;
    std::int32_t micros = 0;
    plist_get_date_val(node(node_), &seconds, &micros);
    // Property-list dates count from 2001-01-01.
    return referenceDate2001() + std::chrono::seconds(seconds) + std::chrono::microseconds(micros);
}

PropertyList::PropertyList(std::string_view bytes, const std::string& fileName)
    : root_(nullptr, freeList) {
    if (bytes.size() > std::numeric_limits<std::uint32_t>::max()) {
        throw ImportError("\u201c" + fileName + "\u201d is too large for a property list.");
    }
    plist_t parsed = nullptr;
    const auto length = static_cast<std::uint32_t>(bytes.size());
    if (plist_is_binary(bytes.data(), length)) {
        plist_from_bin(bytes.data(), length, &parsed);
    } else {
        plist_from_xml(bytes.data(), length, &parsed);
    }
    if (!parsed) {
        throw ImportError("\u201c" + fileName + "\u201d is not a readable property list.");
    }
    root_.reset(parsed);
}

}  // namespace wordloom
