#include "tools/velkantrix-mp4/json_writer.h"

#include <array>
#include <limits>

#include <gtest/gtest.h>

namespace velkantrix {
namespace {

// A sink that keeps what it gets, and refuses from the stated call on.
struct Recorder {
    std::string text;
    std::size_t calls = 0;
    std::size_t longest = 0;
    std::size_t refusesFrom = std::numeric_limits<std::size_t>::max();

    TextSink sink() {
        return [this](std::string_view more) {
            if (++calls >= refusesFrom) return false;
            longest = std::max(longest, more.size());
            text += more;
            return true;
        };
    }
};

template <class Write>
std::string written(Write&& write) {
    Recorder recorder;
    JsonWriter json(recorder.sink());
    write(json);
    EXPECT_TRUE(json.finish());
    return recorder.text;
}

template <class T>
std::string numberText(T value) {
    return written([&](JsonWriter& json) { json.number(value); });
}

TEST(JsonWriter, PutsCommasBetweenValuesOnly) {
    const std::string text = written([](JsonWriter& json) {
        json.beginObject();
        json.name("a").beginArray();
        json.number(1);
        json.beginArray();
        json.endArray();
        json.beginObject();
        json.endObject();
        json.boolean(true);
        json.endArray();
        json.name("b").boolean(false);
        json.endObject();
    });
    EXPECT_EQ(text, "{\"a\":[1,[],{},true],\"b\":false}\n");
}

TEST(JsonWriter, BeginsALineOnlyWhereItIsTold) {
    const std::string text = written([](JsonWriter& json) {
        json.beginArray();
        for (int i = 0; i < 3; ++i) {
            json.onNewLine();
            json.number(i);
        }
        json.endArray();
    });
    EXPECT_EQ(text, "[\n0,\n1,\n2]\n");
}

TEST(JsonWriter, WritesIntegersOfAllWidthsInFull) {
    EXPECT_EQ(numberText(std::numeric_limits<std::uint64_t>::max()), "18446744073709551615\n");
    EXPECT_EQ(numberText(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808\n");
    EXPECT_EQ(numberText(std::uint16_t{2}), "2\n");
}

TEST(JsonWriter, WritesFractionsSoThatTheyReadBackTheSame) {
    EXPECT_EQ(numberText(0.0), "0\n");
    EXPECT_EQ(numberText(1.5), "1.5\n");
    EXPECT_EQ(numberText(0.1 + 0.2), "0.30000000000000004\n");
    EXPECT_EQ(numberText(-std::numeric_limits<double>::max()), "-1.7976931348623157e+308\n");
}

TEST(JsonWriter, WritesBytesAsTwoDigitsEach) {
    const std::array<std::uint8_t, 4> bytes{0x00, 0x0F, 0xA5, 0xFF};
    EXPECT_EQ(written([&](JsonWriter& json) { json.hex({bytes.data(), bytes.size()}); }),
              "\"000fa5ff\"\n");
    EXPECT_EQ(written([](JsonWriter& json) { json.hex({}); }), "\"\"\n");
}

TEST(JsonWriter, HandsALongTextOnInPieces) {
    Recorder recorder;
    JsonWriter json(recorder.sink());
    json.beginArray();
    for (int i = 0; i < 100'000; ++i) {
        json.beginArray();
        json.number(1'000'000'000);
        json.endArray();
    }
    json.endArray();
    EXPECT_GT(recorder.calls, 10u);
    EXPECT_TRUE(json.finish());
    EXPECT_LT(recorder.longest, 100'000u);
    EXPECT_EQ(recorder.text.size(), 100'000u * 13 + 2);
}

TEST(JsonWriter, AsksARefusingSinkOnlyOnce) {
    Recorder recorder{.refusesFrom = 1};
    JsonWriter json(recorder.sink());
    json.beginArray();
    for (int i = 0; i < 100'000; ++i) {
        json.beginArray();
        json.endArray();
    }
    EXPECT_TRUE(json.failed());
    json.endArray();
    EXPECT_FALSE(json.finish());
    EXPECT_EQ(recorder.calls, 1u);
}

TEST(JsonWriter, ARefusedEndIsAFailureToo) {
    Recorder recorder{.refusesFrom = 1};
    JsonWriter json(recorder.sink());
    json.boolean(true);
    EXPECT_FALSE(json.failed());
    EXPECT_FALSE(json.finish());
}

} // namespace
} // namespace velkantrix
