#include "JsonOutput.h"

#include "process/Utf8.h"

namespace pellix {

JsonOutput::JsonOutput() : writer_(buffer_) {
    writer_.SetIndent(' ', 2);
}

JsonOutput& JsonOutput::key(std::string_view name) {
    const std::string valid = toValidUtf8(name);
    writer_.Key(valid.data(), static_cast<rapidjson::SizeType>(valid.size()), true);
    return *this;
}

JsonOutput& JsonOutput::text(std::string_view value) {
    const std::string valid = toValidUtf8(value);
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

}  // namespace pellix
