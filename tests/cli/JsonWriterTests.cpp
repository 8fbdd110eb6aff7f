#include "CliTestSupport.h"
#include "cli/JsonWriter.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <sstream>

using orvane::cli::JsonWriter;

TEST (JsonWriter, TextThatIsNotUtf8HasEachBadByteReplaced)
{
    const std::pair<std::string, std::string> cases[] = {
        { "caf\xc3\xa9 \xe2\x82\xac \xf0\x9f\x8e\xb5", "caf\xc3\xa9 \xe2\x82\xac \xf0\x9f\x8e\xb5" }, // kept whole
        { "caf\xe9.wav", "caf\xef\xbf\xbd.wav" },           // Latin-1
        { "\xc0\xaf", "\xef\xbf\xbd\xef\xbf\xbd" },         // overlong "/"
        { "\xed\xa0\x80", "\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd" }, // a surrogate
        { "\xf4\x90\x80\x80", "\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd" }, // past U+10FFFF
        { "end\xe2\x82", "end\xef\xbf\xbd\xef\xbf\xbd" },  // cut short
    };
    for (const auto& [raw, valid] : cases)
    {
        EXPECT_EQ (JsonWriter::validUtf8 (raw), valid);
        EXPECT_EQ (JsonWriter::quoted (raw), "\"" + valid + "\"");
    }
}

TEST (JsonWriter, DocumentsParseWithNamedNonFiniteNumbersAndEscapedStrings)
{
    constexpr float inf = std::numeric_limits<float>::infinity();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const std::string awkward = "a \"quoted\" back\\slash\nnew\tline \x01 caf\xc3\xa9";
    for (bool pretty : { true, false })
    {
        std::ostringstream s;
        JsonWriter json (s, pretty);
        auto field = [&] (const char* key, auto value) { json.key (key); json.value (value); };
        json.beginArray();
        json.beginObject();
        field ("minusInf", -inf);
        field ("plusInf", (double) inf);
        field ("notANumber", nan);
        field ("text", awkward);
        field ("count", int64_t { 9007199254740993 });
        json.key ("list");
        json.floatArray (std::vector<float> { 1.5f, -inf, nan, inf, -0.25f });
        json.endObject();
        json.endArray();
        EXPECT_EQ (json.depth(), 0);

        const auto o = clitest::firstOf (s.str());
        EXPECT_TRUE (o["minusInf"] == "-Infinity" && o["plusInf"] == "Infinity" && o["notANumber"] == "NaN");
        EXPECT_EQ (o["text"].toString().toStdString(), awkward);
        EXPECT_EQ ((juce::int64) o["count"], (juce::int64) 9007199254740993);
        ASSERT_EQ (o["list"].size(), 5);
        EXPECT_TRUE ((double) o["list"][0] == 1.5 && (double) o["list"][4] == -0.25);
        EXPECT_TRUE (o["list"][1] == "-Infinity" && o["list"][2] == "NaN" && o["list"][3] == "Infinity");
    }
}

TEST (JsonWriter, NumbersReadBackExactly)
{
    std::mt19937 random (7);
    std::uniform_real_distribution<float> level (-200.0f, 50.0f);
    std::vector<float> values { std::numeric_limits<float>::min(), std::numeric_limits<float>::max(), -0.0f, 1.0e-30f };
    for (int i = 0; i < 500; ++i)
        values.push_back (level (random));
    for (float v : values)
        EXPECT_EQ (std::strtof (JsonWriter::number (v).c_str(), nullptr), v) << JsonWriter::number (v);
    EXPECT_EQ (JsonWriter::number (44100.0), "44100");
    EXPECT_EQ (std::strtod (JsonWriter::number (0.1).c_str(), nullptr), 0.1);
}
