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

}  // namespace pellix::test
