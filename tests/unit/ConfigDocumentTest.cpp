#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <limits>
#include <nlohmann/json.hpp>
#include <random>

#include "ConfigOracle.h"
#include "FileChecks.h"
#include "TestSupport.h"
#include "Unprivileged.h"
#include "config/ConfigDocument.h"
#include "config/ConfigEdits.h"

namespace pellix {
namespace {

using test::inodeOf;

namespace fs = std::filesystem;
using nlohmann::json;

std::optional<json> parseConfig(const std::string& bytes) {
    return test::productReading(bytes);
}

std::optional<std::string> serializeConfig(const json& document) {
    return test::productWriting(document);
}

Registration registerAgent(json& document, const std::string& model, const std::string& preset) {
    return test::editedByProduct(document, [&](ConfigDocument& parsed) {
        return pellix::registerAgent(parsed, Choices{preset, model});
    });
}

bool allowPellix(json& document) {
    return test::editedByProduct(
        document, [](ConfigDocument& parsed) { return pellix::allowPellix(parsed); });
}

std::string nested(std::size_t levels, const std::string& inside = "") {
    return std::string(levels, '[') + inside + std::string(levels, ']');
}

// The keys of every object in the order the file lists them, which the default json type would
// hide by sorting them on reading.
void expectKeysSortedIn(const nlohmann::ordered_json& value, int& objectsSeen) {
    if (value.is_object()) {
        ++objectsSeen;
        std::vector<std::string> keys;
        for (auto it = value.begin(); it != value.end(); ++it) keys.push_back(it.key());
        EXPECT_TRUE(std::is_sorted(keys.begin(), keys.end())) << value.dump();
    }
    if (value.is_structured()) {
        for (const auto& child : value) expectKeysSortedIn(child, objectsSeen);
    }
}

class ConfigDocument : public ::testing::Test {
protected:
    // Both workers must refuse the file the same way and leave it exactly as it was.
    void expectUnreadableAndUntouched(const std::string& bytes) {
        test::writeFile(config_, bytes);
        expectUnreadableAndUntouched();
        // Not EXPECT_EQ: a failure would print all fifty megabytes.
        EXPECT_TRUE(test::readFile(config_) == bytes);
    }
    using Worker = std::function<StepResult()>;
    static StepResult runHere(const Worker& work) { return work(); }
    // `run` calls each worker: in this process by default, or as a user without root's rights.
    void expectUnreadableAndUntouched(StepResult (*run)(const Worker&) = runHere) {
        const ino_t inode = inodeOf(config_);
        EXPECT_EQ(
            run([this] {
                return steps::registerPellixAgent(model_.context(), config_).runToCompletion();
            }),
            (StepResult{StepStatus::failed, "Cannot read openclaw.json"}));
        EXPECT_EQ(run([this] {
                      return steps::addToAllowlist(model_.context(), config_).runToCompletion();
                  }),
                  (StepResult{StepStatus::warning, "Cannot read openclaw.json for allowlist"}));
        EXPECT_EQ(inodeOf(config_), inode);
    }

    test::TempDir home_;
    std::string config_ = home_ / "openclaw.json";
    test::WorkerSetup model_{test::testPlatform(home_.path())};
};

TEST_F(ConfigDocument, AcceptsOnlyAnObjectAtTheTopLevel) {
    EXPECT_EQ(parseConfig(R"( {"a":[1,2]} )"), json::parse(R"({"a":[1,2]})"));
    for (const char* text : {"[]", "\"text\"", "3", "null", "true", "", "  "}) {
        EXPECT_EQ(parseConfig(text), std::nullopt) << text;
    }
}

TEST_F(ConfigDocument, RefusesCommentsTrailingCommasAndTextAfterTheObject) {
    for (const char* text : {"{} // note", "/* note */ {}", R"({"a":1,})", R"({"a":[1,]})", "{}{}",
                             "{} x", R"({'a':1})", R"({"a":NaN})"}) {
        EXPECT_EQ(parseConfig(text), std::nullopt) << text;
    }
}

TEST_F(ConfigDocument, AcceptsAByteOrderMarkOnlyAtTheStart) {
    EXPECT_EQ(parseConfig("\xEF\xBB\xBF{\"a\":1}"), json::parse(R"({"a":1})"));
    EXPECT_EQ(parseConfig("{\"a\":1}\xEF\xBB\xBF"), std::nullopt);
    EXPECT_EQ(parseConfig("\xEF\xBB{\"a\":1}"), std::nullopt);
}

TEST_F(ConfigDocument, RefusesInvalidUtf8) {
    for (const char* text : {"{\"a\":\"\xFF\"}", "{\"a\":\"\xC0\xAF\"}", "{\"a\":\"\xED\xA0\x80\"}",
                             "{\"a\":\"\xE2\x82\"}", "{\"\x80\":1}", R"({"a":"\ud800"})"}) {
        EXPECT_EQ(parseConfig(text), std::nullopt) << text;
    }
}

TEST_F(ConfigDocument, AcceptsNestingUpToTheLimitAndNoDeeper) {
    EXPECT_NE(parseConfig("{\"a\":" + nested(kMaxConfigDepth - 1) + "}"), std::nullopt);
    EXPECT_EQ(parseConfig("{\"a\":" + nested(kMaxConfigDepth) + "}"), std::nullopt);
}

TEST_F(ConfigDocument, BracketsInsideStringsDoNotCountAsNesting) {
    const std::string brackets(100000, '[');
    const auto parsed = parseConfig(R"({"a\"[":"\\)" + brackets + R"(\"{"})");
    ASSERT_NE(parsed, std::nullopt);
    EXPECT_EQ(parsed->at("a\"[").get<std::string>(), "\\" + brackets + "\"{");
}

TEST_F(ConfigDocument, SerializesWithTwoSpaceIndentsAndSortedKeys) {
    const auto document = parseConfig(R"({"b":[1,{}],"a":{"z":"/","\u00e9":true},"c":[]})");
    ASSERT_NE(document, std::nullopt);
    EXPECT_EQ(serializeConfig(*document), R"({
  "a": {
    "z": "/",
    "é": true
  },
  "b": [
    1,
    {}
  ],
  "c": []
})");
}

TEST_F(ConfigDocument, HundredThousandLevelsAtTheTopAreUnreadable) {
    expectUnreadableAndUntouched(nested(100000));
}

TEST_F(ConfigDocument, HundredThousandLevelsInsideAnObjectAreUnreadable) {
    expectUnreadableAndUntouched(R"({"agents":{"list":[{"id":"main","x":)" + nested(100000) +
                                 "}]}}");
}

TEST_F(ConfigDocument, FileLargerThanTheMemoryGuardIsUnreadable) {
    // Sparse: the guard looks at the size before reading a byte.
    test::writeFile(config_, "{}");
    fs::resize_file(config_, kMaxConfigBytes + 1);
    expectUnreadableAndUntouched();
    EXPECT_EQ(fs::file_size(config_), kMaxConfigBytes + 1);
}

TEST_F(ConfigDocument, NulByteAndTextAfterTheObjectAreUnreadable) {
    expectUnreadableAndUntouched(std::string(R"({"agents":{"list":[{"id":"main"}]},"x":1})") +
                                 '\0' + R"(,"lost":"after the NUL"})");
    expectUnreadableAndUntouched(R"({"agents":{"list":[{"id":"main"}]}} {"second":"document"})");
}

TEST_F(ConfigDocument, InvalidUtf8IsUnreadable) {
    expectUnreadableAndUntouched("{\"agents\":{\"list\":[{\"id\":\"m\xE9in\"}]}}");
}

TEST_F(ConfigDocument, CommentsAreUnreadable) {
    expectUnreadableAndUntouched("{\n  // hosts\n  \"agents\": {}\n}");
}

TEST_F(ConfigDocument, TrailingCommasAreUnreadable) {
    expectUnreadableAndUntouched(R"({"agents":{"list":[{"id":"main"},]},})");
}

TEST_F(ConfigDocument, EmptyFileIsUnreadable) {
    expectUnreadableAndUntouched("");
}

TEST_F(ConfigDocument, DirectoryInPlaceOfTheFileIsUnreadable) {
    test::makeDirs(config_ + "/inside");
    expectUnreadableAndUntouched();
    EXPECT_TRUE(fs::is_directory(config_ + "/inside"));
}

TEST_F(ConfigDocument, FileWithoutReadPermissionIsUnreadable) {
    test::writeFile(config_, "{}");
    // Open to anyone, so that only the file's own missing read bit can stop the workers.
    fs::permissions(home_.path(), fs::perms(0755));
    fs::permissions(config_, fs::perms::none);
    if (const auto why = test::cannotRunUnprivilegedIn(home_.path())) GTEST_SKIP() << *why;
    expectUnreadableAndUntouched(test::runUnprivileged);
    fs::permissions(config_, fs::perms(0600));
    EXPECT_EQ(test::readFile(config_), "{}");
}

TEST_F(ConfigDocument, ByteOrderMarkedFileIsRegisteredAndWrittenWithoutTheMark) {
    test::writeFile(config_, "\xEF\xBB\xBF{\"gateway\":{}}");
    EXPECT_EQ(steps::registerPellixAgent(model_.context(), config_).runToCompletion().status,
              StepStatus::success);
    const std::string written = test::readFile(config_);
    EXPECT_EQ(written.substr(0, 1), "{");
    EXPECT_EQ(json::parse(written)["agents"]["list"][0]["name"], "pellix");
}

TEST_F(ConfigDocument, ByteOrderMarkedFileWithNothingToChangeIsLeftAsItWas) {
    const std::string bytes = "\xEF\xBB\xBF{\"agents\":{\"list\":[{\"name\":\"pellix\"}]}}";
    test::writeFile(config_, bytes);
    EXPECT_EQ(steps::registerPellixAgent(model_.context(), config_).runToCompletion(),
              (StepResult{StepStatus::success, "Already registered"}));
    EXPECT_EQ(steps::addToAllowlist(model_.context(), config_).runToCompletion(),
              (StepResult{StepStatus::success, "Already in allowlist"}));
    EXPECT_EQ(test::readFile(config_), bytes);
}

TEST_F(ConfigDocument, EveryObjectHasSortedKeysAfterBothWrites) {
    test::writeFile(config_, R"({"zeta":{"b":1,"a":[{"y":{},"x":2}]},"alpha":{"d":{"q":0,"p":0}},)"
                             R"("agents":{"list":[{"tools":[],"id":"main","model":"m"}]}})");
    ASSERT_EQ(steps::registerPellixAgent(model_.context(), config_).runToCompletion().status,
              StepStatus::success);
    ASSERT_EQ(steps::addToAllowlist(model_.context(), config_).runToCompletion().status,
              StepStatus::success);
    int objectsSeen = 0;
    expectKeysSortedIn(nlohmann::ordered_json::parse(test::readFile(config_)), objectsSeen);
    EXPECT_EQ(objectsSeen, 10);
}

TEST_F(ConfigDocument, AgentListIsTheFirstArrayOfObjectsAndGoesBackUnderItemsIfPresent) {
    std::optional<pellix::ConfigDocument> document = pellix::ConfigDocument::parse(
        R"({"agents":{"items":[{"a":1}, 2],"list":[{"b":1}],"x":0}})");
    ASSERT_NE(document, std::nullopt);
    const JsonValue* found = findAgentList(document->root());
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->Size(), 1u);
    agentListForEditing(*document).PushBack(JsonValue(rapidjson::kObjectType),
                                            document->allocator());
    EXPECT_EQ(json::parse(document->serialize().value()),
              json::parse(R"({"agents":{"items":[{"b":1},{}],"list":[{"b":1}],"x":0}})"));
}

// Random documents shaped like openclaw.json often enough to reach every branch of both edits:
// agent lists under either key, entries named or identified "pellix" or "main", and lists or
// allowlists spoiled by one element of the wrong type.
class RandomDocuments {
public:
    explicit RandomDocuments(std::uint32_t seed) : random_(seed) {}

    json next() {
        json document = object(3);
        if (below(5) != 0) document["agents"] = below(6) == 0 ? value(1) : agents();
        return document;
    }
    std::string modelChoice() { return pick({"opus", "haiku", "sonnet", "gpt"}); }
    std::string scanPreset() { return pick({"vigilant", "relaxed", "daily", "standard", "x"}); }

private:
    std::size_t below(std::size_t bound) {
        return std::uniform_int_distribution<std::size_t>(0, bound - 1)(random_);
    }
    std::string pick(std::initializer_list<const char*> choices) {
        return *(choices.begin() + below(choices.size()));
    }
    json scalar() {
        switch (below(7)) {
            case 0:
                return nullptr;
            case 1:
                return below(2) == 0;
            case 2:
                return std::uniform_int_distribution<std::int64_t>(INT64_MIN, INT64_MAX)(random_);
            case 3:
                return std::uniform_int_distribution<std::uint64_t>()(random_);
            case 4:
                return std::uniform_real_distribution<double>(-1e300, 1e300)(random_);
            case 5:
                return std::vector<double>{0.1, -0.0, 5e-324, 1.7976931348623157e308}[below(4)];
            default:
                return text();
        }
    }
    json value(int depth) {
        if (depth <= 0 || below(3) == 0) return scalar();
        if (below(2) == 0) return object(depth - 1);
        json array = json::array();
        for (std::size_t n = below(4); n > 0; --n) array.push_back(value(depth - 1));
        return array;
    }
    json object(int depth) {
        json object = json::object();
        for (std::size_t n = below(5); n > 0; --n) object[text()] = value(depth);
        return object;
    }
    json agents() {
        json agents = object(1);
        for (const char* key : {"items", "list"}) {
            if (below(2) == 0) agents[key] = agentList();
        }
        return agents;
    }
    json agentList() {
        json list = json::array();
        for (std::size_t n = below(4); n > 0; --n) {
            list.push_back(below(12) == 0 ? scalar() : agentEntry());
        }
        return below(8) == 0 ? value(1) : list;
    }
    json agentEntry() {
        const json identities[] = {"pellix", "main", "Pellix", "coder", 7, nullptr};
        json entry = object(1);
        if (below(2) == 0) entry["name"] = identities[below(6)];
        if (below(2) == 0) entry["id"] = identities[below(6)];
        if (below(3) == 0) entry["subagents"] = {{"allowAgents", value(1)}};
        if (below(3) == 0) entry["subagents"] = {{"allowAgents", json::array({"coder", "pellix"})}};
        return entry;
    }
    std::string text() {
        // Quotes, backslashes and control characters need escaping; the rest spans UTF-8 lengths.
        static const std::string ascii = "aZ/\"\\\n\x01 ";
        static const char* const wide[] = {"\xC3\xA9", "\xE4\xB8\xAD", "\xF0\x9F\x98\x80"};
        std::string text;
        for (std::size_t n = below(6); n > 0; --n) {
            const std::size_t at = below(ascii.size() + std::size(wide));
            text += at < ascii.size() ? std::string(1, ascii[at]) : wide[at - ascii.size()];
        }
        return text;
    }

    std::mt19937 random_;
};

TEST_F(ConfigDocument, RandomDocumentsRegisterOnceAllowOnceAndSurviveARoundTrip) {
    RandomDocuments random(20240611);
    int alreadyRegistered = 0;
    int allowedNow = 0;
    for (int i = 0; i < 3000; ++i) {
        json document = random.next();
        const json original = document;
        Registration first{};
        ASSERT_NO_THROW(first = registerAgent(document, random.modelChoice(), random.scanPreset()));
        if (first == Registration::alreadyRegistered) {
            ++alreadyRegistered;
            ASSERT_EQ(document, original);
        }

        const std::optional<std::string> text = serializeConfig(document);
        ASSERT_NE(text, std::nullopt) << original.dump();
        const std::optional<json> reread = parseConfig(*text);
        ASSERT_EQ(reread, document) << *text;

        json again = *reread;
        ASSERT_EQ(registerAgent(again, random.modelChoice(), random.scanPreset()),
                  Registration::alreadyRegistered);
        ASSERT_EQ(again, *reread);
        bool changed = false;
        ASSERT_NO_THROW(changed = allowPellix(again));
        allowedNow += changed ? 1 : 0;
        const json allowed = again;
        ASSERT_FALSE(allowPellix(again)) << allowed.dump();
        ASSERT_EQ(again, allowed);
    }
    // Both outcomes of each edit must have come up often, or the generator has gone stale.
    EXPECT_GT(alreadyRegistered, 100);
    EXPECT_LT(alreadyRegistered, 2700);
    EXPECT_GT(allowedNow, 100);
}

TEST_F(ConfigDocument, DamagedTextNeverThrowsAndWhatParsesSurvivesARoundTrip) {
    RandomDocuments random(7);
    std::mt19937 damage(11);
    for (int i = 0; i < 3000; ++i) {
        std::string text = serializeConfig(random.next()).value();
        for (int hits = 0; hits < 3; ++hits) {
            text[damage() % text.size()] = static_cast<char>(damage());
        }
        std::optional<json> parsed;
        ASSERT_NO_THROW(parsed = parseConfig(text));
        if (!parsed) continue;
        const std::optional<std::string> again = serializeConfig(*parsed);
        ASSERT_NE(again, std::nullopt);
        ASSERT_EQ(parseConfig(*again), parsed);
    }
}

}  // namespace
}  // namespace pellix
