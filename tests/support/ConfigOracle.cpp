#include "ConfigOracle.h"

namespace pellix::test {

std::optional<nlohmann::json> productReading(const std::string& bytes) {
    std::optional<ConfigDocument> document = ConfigDocument::parse(bytes);
    if (!document) return std::nullopt;
    const std::optional<std::string> text = document->serialize();
    if (!text) return std::nullopt;
    return nlohmann::json::parse(*text);
}

std::optional<std::string> productWriting(const nlohmann::json& document) {
    std::optional<ConfigDocument> parsed = ConfigDocument::parse(document.dump());
    if (!parsed) return std::nullopt;
    return parsed->serialize();
}

std::string sampleConfig(std::size_t bytes) {
    std::string text = R"({
  "agents": {
    "list": [
      {
        "id": "main",
        "subagents": {
          "allowAgents": ["coder"]
        }
      }
    ]
  },
  "settings": {)";
    text.reserve(bytes + 512);
    for (std::size_t i = 0; text.size() < bytes; ++i) {
        const std::string n = std::to_string(i);
        text += (i == 0 ? "\n" : ",\n");
        text += R"(    "entry-)" + n + R"(": {"text": "caf\u00e9 \u2713 lorem ipsum )" + n +
                R"(", "big": 1234567890123456789012)" + n + R"(, "ratio": 0.1)" + n +
                R"(, "flags": [true, false, null], "nested": {"k": -9223372036854775809}})";
    }
    return text + "\n  }\n}\n";
}

}  // namespace pellix::test
