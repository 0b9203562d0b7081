#pragma once
// Writing the commands' JSON objects with the product's one JSON library: keys in the order they
// are written, two-space indentation, and text made valid UTF-8 first, since command output and
// file names may not be. Any thread.

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include <optional>
#include <string>
#include <string_view>

namespace pellix {

class JsonOutput {
public:
    JsonOutput();

    JsonOutput& key(std::string_view name);
    JsonOutput& text(std::string_view value);
    JsonOutput& textOrNull(const std::optional<std::string>& value);
    JsonOutput& boolean(bool value);
    JsonOutput& number(double value);
    JsonOutput& integer(long long value);
    // A number exactly as openclaw.json wrote it; the text must be a JSON number.
    JsonOutput& numberText(std::string_view text);
    JsonOutput& null();
    JsonOutput& beginObject();
    JsonOutput& endObject();
    JsonOutput& beginArray();
    JsonOutput& endArray();

    // The finished document with a final line feed.
    std::string str() const;

private:
    rapidjson::StringBuffer buffer_;
    rapidjson::PrettyWriter<rapidjson::StringBuffer> writer_;
};

}  // namespace pellix
