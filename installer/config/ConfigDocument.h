#pragma once
// openclaw.json as the installer reads and writes it: strict reading that keeps the text of every
// number, and the sorted two-space form written back. A document belongs to one thread at a time.

#include <rapidjson/error/error.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "config/JsonMembers.h"

namespace pellix {

// Only a guard against exhausting memory: a larger file is unreadable. Reading costs about three
// times the file's size at the peak, so a gibibyte still fits a machine that runs OpenClaw.
inline constexpr std::size_t kMaxConfigBytes = std::size_t{1} << 30;

// Deepest nesting of arrays and objects accepted. Copying and printing a document recurse once
// per level, so a deeper file could exhaust the stack.
inline constexpr std::size_t kMaxConfigDepth = 512;

class ConfigDocument {
public:
    // The document in `bytes` when it is one strict JSON text (no comments, no trailing commas,
    // valid UTF-8, no NUL byte outside an escape, nothing but white space after the value, an
    // optional UTF-8 byte-order mark) with an object at the top, nested no deeper than
    // kMaxConfigDepth; nothing otherwise. Never throws.
    static std::optional<ConfigDocument> parse(std::string_view bytes);

    JsonValue& root() { return *document_; }
    const JsonValue& root() const { return *document_; }
    JsonAllocator& allocator() { return document_->GetAllocator(); }

    // A number as the file wrote it, or as the shortest text of the value an edit stored.
    std::string numberText(const JsonValue& number) const;

    // Two-space indents, keys in ascending byte order at every level (of keys written twice, the
    // last one counts, as for JavaScript's reader), no final newline, UTF-8 written as is; nothing
    // when memory runs out. Never throws.
    std::optional<std::string> serialize() const;
    // The same for one value inside this document.
    std::optional<std::string> serialize(const JsonValue& value) const;

private:
    ConfigDocument();
    static std::optional<ConfigDocument> parseText(std::string_view bytes,
                                                   const std::vector<std::string>* maskedNumbers,
                                                   rapidjson::ParseErrorCode& error);
    void writeValue(std::string& out, const JsonValue& value, std::size_t indent) const;
    void writeObject(std::string& out, const JsonValue& object, std::size_t indent) const;

    std::unique_ptr<rapidjson::Document> document_;
    // Every number's text, each followed by a comma; a number's value holds its offset here.
    std::string numbers_;
    friend class ConfigParseHandler;
};

}  // namespace pellix
