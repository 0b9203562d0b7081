#include "config/ConfigDocument.h"

#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <new>
#include <vector>

namespace pellix {

namespace {

// A number read from the file is stored as a NaN whose payload is the offset of its text in the
// document's table. JSON text cannot hold a NaN, so these never meet a real value, and no double
// ever has to carry a number it cannot represent.
constexpr std::uint64_t kBoxTag = 0x7FF8'0000'0000'0000;
constexpr std::uint64_t kPayloadMask = (std::uint64_t{1} << 51) - 1;

double boxedOffset(std::uint64_t offset) {
    return std::bit_cast<double>(kBoxTag | offset);
}

std::optional<std::uint64_t> unboxedOffset(const JsonValue& value) {
    if (!value.IsDouble()) return std::nullopt;
    const auto bits = std::bit_cast<std::uint64_t>(value.GetDouble());
    if ((bits & ~kPayloadMask) != kBoxTag) return std::nullopt;
    return bits & kPayloadMask;
}

std::string_view keyOf(const JsonValue::Member& m) {
    return {m.name.GetString(), m.name.GetStringLength()};
}

void appendEscaped(std::string& out, const char* text, std::size_t length) {
    static constexpr char kHex[] = "0123456789abcdef";
    out.push_back('"');
    std::size_t runStart = 0;
    for (std::size_t i = 0; i < length; ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (c >= 0x20 && c != '"' && c != '\\') continue;
        out.append(text + runStart, i - runStart);
        runStart = i + 1;
        switch (c) {
            case '"':
                out.append("\\\"");
                break;
            case '\\':
                out.append("\\\\");
                break;
            case '\b':
                out.append("\\b");
                break;
            case '\f':
                out.append("\\f");
                break;
            case '\n':
                out.append("\\n");
                break;
            case '\r':
                out.append("\\r");
                break;
            case '\t':
                out.append("\\t");
                break;
            default:
                out.append("\\u00");
                out.push_back(kHex[c >> 4]);
                out.push_back(kHex[c & 0xF]);
        }
    }
    out.append(text + runStart, length - runStart);
    out.push_back('"');
}

bool isNumberText(std::string_view t) {
    std::size_t i = 0;
    const auto digits = [&] {
        const std::size_t start = i;
        while (i < t.size() && t[i] >= '0' && t[i] <= '9') ++i;
        return i > start;
    };
    if (i < t.size() && t[i] == '-') ++i;
    if (i < t.size() && t[i] == '0') {
        ++i;
    } else if (!digits()) {
        return false;
    }
    if (i < t.size() && t[i] == '.' && (++i, !digits())) return false;
    if (i < t.size() && (t[i] == 'e' || t[i] == 'E')) {
        ++i;
        if (i < t.size() && (t[i] == '+' || t[i] == '-')) ++i;
        if (!digits()) return false;
    }
    return i == t.size();
}

// RapidJSON's reader refuses numbers a double cannot hold (over 308 digits, or an exponent past
// a double's range) even when it is asked for their text, though they are valid JSON. For such
// a file each number outside a string is swapped for a "0" padded with spaces, and the texts are
// handed to the document in order; nothing when a number is not valid JSON.
std::optional<std::string> withNumbersMasked(std::string_view bytes,
                                             std::vector<std::string>& texts) {
    std::string masked(bytes);
    bool inString = false;
    for (std::size_t i = 0; i < masked.size(); ++i) {
        const char c = masked[i];
        if (inString) {
            if (c == '\\') {
                ++i;
            } else if (c == '"') {
                inString = false;
            }
        } else if (c == '"') {
            inString = true;
        } else if (c == '-' || (c >= '0' && c <= '9')) {
            std::size_t end = i;
            while (end < masked.size() && std::strchr("0123456789+-.eE", masked[end]) != nullptr &&
                   masked[end] != '\0') {
                ++end;
            }
            texts.emplace_back(masked, i, end - i);
            if (!isNumberText(texts.back())) return std::nullopt;
            masked.replace(i, end - i, end - i, ' ');
            masked[i] = '0';
            i = end - 1;
        }
    }
    return masked;
}

void appendIndent(std::string& out, std::size_t indent) {
    out.push_back('\n');
    out.append(indent, ' ');
}

}  // namespace

// Builds the document through RapidJSON's own builder, adding the depth limit and keeping each
// number's text.
class ConfigParseHandler {
public:
    ConfigParseHandler(rapidjson::Document& document, std::string& numbers,
                       const std::vector<std::string>* maskedNumbers)
        : document_(document), numbers_(numbers), maskedNumbers_(maskedNumbers) {}
    bool Null() { return document_.Null(); }
    bool Bool(bool b) { return document_.Bool(b); }
    bool Int(int i) { return document_.Int(i); }
    bool Uint(unsigned i) { return document_.Uint(i); }
    bool Int64(std::int64_t i) { return document_.Int64(i); }
    bool Uint64(std::uint64_t i) { return document_.Uint64(i); }
    bool Double(double d) { return document_.Double(d); }
    bool RawNumber(const char* text, rapidjson::SizeType length, bool) {
        const std::uint64_t offset = numbers_.size();
        if (maskedNumbers_ != nullptr) {
            if (nextMasked_ >= maskedNumbers_->size()) return false;
            numbers_.append((*maskedNumbers_)[nextMasked_++]);
        } else {
            numbers_.append(text, length);
        }
        numbers_.push_back(',');
        return document_.Double(boxedOffset(offset));
    }
    bool String(const char* text, rapidjson::SizeType length, bool copy) {
        return document_.String(text, length, copy);
    }
    bool Key(const char* text, rapidjson::SizeType length, bool copy) {
        return document_.Key(text, length, copy);
    }
    bool StartObject() { return ++depth_ <= kMaxConfigDepth && document_.StartObject(); }
    bool EndObject(rapidjson::SizeType count) { return --depth_, document_.EndObject(count); }
    bool StartArray() { return ++depth_ <= kMaxConfigDepth && document_.StartArray(); }
    bool EndArray(rapidjson::SizeType count) { return --depth_, document_.EndArray(count); }

private:
    rapidjson::Document& document_;
    std::string& numbers_;
    const std::vector<std::string>* maskedNumbers_;
    std::size_t nextMasked_ = 0;
    std::size_t depth_ = 0;
};

ConfigDocument::ConfigDocument() : document_(std::make_unique<rapidjson::Document>()) {}

std::optional<ConfigDocument> ConfigDocument::parse(std::string_view bytes) {
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (bytes.substr(0, 3) == kByteOrderMark) bytes.remove_prefix(3);
    // The reader takes a NUL for the end of the text, so one would hide whatever follows it.
    if (bytes.size() > kMaxConfigBytes || bytes.find('\0') != std::string_view::npos) {
        return std::nullopt;
    }
    try {
        rapidjson::ParseErrorCode error = rapidjson::kParseErrorNone;
        std::optional<ConfigDocument> document = parseText(bytes, nullptr, error);
        if (document || error != rapidjson::kParseErrorNumberTooBig) return document;
        std::vector<std::string> texts;
        const std::optional<std::string> masked = withNumbersMasked(bytes, texts);
        if (!masked) return std::nullopt;
        return parseText(*masked, &texts, error);
    } catch (const std::bad_alloc&) {
        return std::nullopt;
    }
}

std::optional<ConfigDocument> ConfigDocument::parseText(
    std::string_view bytes, const std::vector<std::string>* maskedNumbers,
    rapidjson::ParseErrorCode& error) {
    constexpr unsigned kFlags = rapidjson::kParseNumbersAsStringsFlag |
                                rapidjson::kParseValidateEncodingFlag |
                                rapidjson::kParseIterativeFlag;
    ConfigDocument result;
    auto generate = [&](rapidjson::Document& document) {
        rapidjson::MemoryStream stream(bytes.data(), bytes.size());
        ConfigParseHandler handler(document, result.numbers_, maskedNumbers);
        rapidjson::Reader reader;
        error = reader.Parse<kFlags>(stream, handler).Code();
        return error == rapidjson::kParseErrorNone;
    };
    result.document_->Populate(generate);
    if (error != rapidjson::kParseErrorNone || !result.document_->IsObject()) return std::nullopt;
    return result;
}

std::string ConfigDocument::numberText(const JsonValue& number) const {
    if (const auto offset = unboxedOffset(number)) {
        const std::size_t end = numbers_.find(',', *offset);
        return numbers_.substr(*offset, end - *offset);
    }
    if (number.IsUint64()) return std::to_string(number.GetUint64());
    if (number.IsInt64()) return std::to_string(number.GetInt64());
    char buffer[32];
    const auto [end, error] = std::to_chars(buffer, buffer + sizeof buffer, number.GetDouble());
    return error == std::errc{} ? std::string(buffer, end) : "null";
}

std::optional<std::string> ConfigDocument::serialize() const {
    return serialize(*document_);
}

std::optional<std::string> ConfigDocument::serialize(const JsonValue& value) const {
    try {
        std::string out;
        out.reserve(numbers_.size() + 4096);
        writeValue(out, value, 0);
        return out;
    } catch (const std::bad_alloc&) {
        return std::nullopt;
    }
}

void ConfigDocument::writeValue(std::string& out, const JsonValue& value,
                                std::size_t indent) const {
    switch (value.GetType()) {
        case rapidjson::kNullType:
            out.append("null");
            break;
        case rapidjson::kFalseType:
            out.append("false");
            break;
        case rapidjson::kTrueType:
            out.append("true");
            break;
        case rapidjson::kStringType:
            appendEscaped(out, value.GetString(), value.GetStringLength());
            break;
        case rapidjson::kNumberType:
            if (const auto offset = unboxedOffset(value)) {
                const char* text = numbers_.data() + *offset;
                out.append(text, std::strchr(text, ',') - text);
            } else {
                out.append(numberText(value));
            }
            break;
        case rapidjson::kObjectType:
            writeObject(out, value, indent);
            break;
        case rapidjson::kArrayType:
            if (value.Empty()) {
                out.append("[]");
                break;
            }
            out.push_back('[');
            for (auto it = value.Begin(); it != value.End(); ++it) {
                if (it != value.Begin()) out.push_back(',');
                appendIndent(out, indent + 2);
                writeValue(out, *it, indent + 2);
            }
            appendIndent(out, indent);
            out.push_back(']');
            break;
    }
}

void ConfigDocument::writeObject(std::string& out, const JsonValue& object,
                                 std::size_t indent) const {
    if (object.ObjectEmpty()) {
        out.append("{}");
        return;
    }
    std::vector<const JsonValue::Member*> members;
    members.reserve(object.MemberCount());
    for (auto it = object.MemberBegin(); it != object.MemberEnd(); ++it) members.push_back(&*it);
    const auto byKey = [](const JsonValue::Member* a, const JsonValue::Member* b) {
        return keyOf(*a) < keyOf(*b);
    };
    if (!std::is_sorted(members.begin(), members.end(), byKey)) {
        std::stable_sort(members.begin(), members.end(), byKey);
    }
    out.push_back('{');
    bool first = true;
    for (std::size_t i = 0; i < members.size(); ++i) {
        if (i + 1 < members.size() && keyOf(*members[i]) == keyOf(*members[i + 1])) continue;
        if (!first) out.push_back(',');
        first = false;
        appendIndent(out, indent + 2);
        appendEscaped(out, members[i]->name.GetString(), members[i]->name.GetStringLength());
        out.append(": ");
        writeValue(out, members[i]->value, indent + 2);
    }
    appendIndent(out, indent);
    out.push_back('}');
}

}  // namespace pellix
