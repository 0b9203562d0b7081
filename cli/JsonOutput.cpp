#include "JsonOutput.h"

namespace pellix {

JsonOutput::JsonOutput() : writer_(buffer_) {
    writer_.SetIndent(' ', 2);
}

JsonOutput& JsonOutput::key(std::string_view name) {
    const std::string valid = validUtf8(name);
    writer_.Key(valid.data(), static_cast<rapidjson::SizeType>(valid.size()), true);
    return *this;
}

JsonOutput& JsonOutput::text(std::string_view value) {
    const std::string valid = validUtf8(value);
    writer_.String(valid.data(), static_cast<rapidjson::SizeType>(valid.size()), true);
    return *this;
}

JsonOutput& JsonOutput::textOrNull(const std::optional<std::string>& value) {
    return value ? text(*value) : null();
}

JsonOutput& JsonOutput::boolean(bool value) {
    writer_.Bool(value);
    return *this;
}

JsonOutput& JsonOutput::number(double value) {
    writer_.Double(value);
    return *this;
}

JsonOutput& JsonOutput::integer(long long value) {
    writer_.Int64(value);
    return *this;
}

JsonOutput& JsonOutput::numberText(std::string_view text) {
    writer_.RawValue(text.data(), text.size(), rapidjson::kNumberType);
    return *this;
}

JsonOutput& JsonOutput::null() {
    writer_.Null();
    return *this;
}

JsonOutput& JsonOutput::beginObject() {
    writer_.StartObject();
    return *this;
}

JsonOutput& JsonOutput::endObject() {
    writer_.EndObject();
    return *this;
}

JsonOutput& JsonOutput::beginArray() {
    writer_.StartArray();
    return *this;
}

JsonOutput& JsonOutput::endArray() {
    writer_.EndArray();
    return *this;
}

std::string JsonOutput::str() const {
    return std::string(buffer_.GetString(), buffer_.GetSize()) + "\n";
}

namespace {

// Length of the valid UTF-8 sequence at `at`, or 0 when the bytes there are not one.
std::size_t sequenceLength(std::string_view text, std::size_t at) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[at + i]); };
    const unsigned char lead = byte(0);
    std::size_t length = 0;
    unsigned char low = 0x80;
    unsigned char high = 0xBF;
    if (lead < 0x80) return 1;
    if (lead >= 0xC2 && lead <= 0xDF) length = 2;
    if (lead >= 0xE0 && lead <= 0xEF) length = 3;
    if (lead >= 0xF0 && lead <= 0xF4) length = 4;
    if (length == 0 || at + length > text.size()) return 0;
    // Overlong forms, surrogates and code points past U+10FFFF are refused on the second byte.
    if (lead == 0xE0) low = 0xA0;
    if (lead == 0xED) high = 0x9F;
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;
    if (byte(1) < low || byte(1) > high) return 0;
    for (std::size_t i = 2; i < length; ++i) {
        if (byte(i) < 0x80 || byte(i) > 0xBF) return 0;
    }
    return length;
}

}  // namespace

std::string validUtf8(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = sequenceLength(text, at);
        if (length == 0) {
            result += "\xEF\xBF\xBD";
            ++at;
        } else {
            result.append(text.substr(at, length));
            at += length;
        }
    }
    return result;
}

}  // namespace pellix
