#pragma once
// The product's reading, editing and writing of openclaw.json seen through nlohmann/json, the
// tests' independent reader: what goes in and what comes out are compared as values there. Test
// thread only.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "config/ConfigDocument.h"

namespace pellix::test {

// What the product would write for `bytes`, read back by nlohmann/json; nothing when the
// product refuses the bytes.
std::optional<nlohmann::json> productReading(const std::string& bytes);

// The product's text for `document`.
std::optional<std::string> productWriting(const nlohmann::json& document);

// An openclaw.json of about `bytes` bytes, pretty-printed as a host would save it: a main agent
// allowed to spawn "coder", and many settings with texts, exact and inexact numbers.
std::string sampleConfig(std::size_t bytes);

// Runs a product edit on `document` through the product's own document and hands back the edit's
// answer; `document` becomes what the product wrote.
template <typename Edit>
auto editedByProduct(nlohmann::json& document, Edit&& edit) {
    std::optional<ConfigDocument> parsed = ConfigDocument::parse(document.dump());
    EXPECT_NE(parsed, std::nullopt) << document.dump();
    auto answer = edit(*parsed);
    document = nlohmann::json::parse(parsed->serialize().value());
    return answer;
}

}  // namespace pellix::test
