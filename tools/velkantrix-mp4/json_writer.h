// json_writer.h: JSON (RFC 8259) that is written as it comes, whatever its length.
//
// All names and texts are the program's own: nothing has to be escaped.
#pragma once

#include <charconv>
#include <concepts>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "mp4/byte_view.h"

namespace velkantrix {

// Takes bytes as they are; false when it takes no more.
using TextSink = std::function<bool(std::string_view)>;

class JsonWriter {
public:
    explicit JsonWriter(TextSink sink) : sink_(std::move(sink)) {}

    void beginObject() { begin('{'); }
    void endObject() { end('}'); }
    void beginArray() { begin('['); }
    void endArray() { end(']'); }
    // What comes next begins a line of the text, so that long arrays can be read and compared.
    void onNewLine() { newLine_ = true; }

    // Of an object: the name of the value that comes next.
    JsonWriter& name(std::string_view name);

    template <std::integral T>
    void number(T value) {
        numberText(value);
    }
    // Must be finite. Written so that it reads back as the same number.
    void number(double value) { numberText(value); }
    void boolean(bool value) { put(value ? "true" : "false"); }
    // Two lower-case digits for each byte, in a string.
    void hex(ByteView bytes);

    // The sink has refused something: the rest isn't worth working out.
    [[nodiscard]] bool failed() const { return failed_; }
    // Ends the text. True when the sink has taken all of it.
    [[nodiscard]] bool finish();

private:
    template <class T>
    void numberText(T value) {
        char digits[32]; // enough for the longest double, and for 64 bits
        const auto result = std::to_chars(digits, digits + sizeof(digits), value);
        put({digits, static_cast<std::size_t>(result.ptr - digits)});
    }

    void begin(char bracket);
    void end(char bracket);
    void separate();
    void put(std::string_view value);
    void flushWhenLong();
    void flush();

    TextSink sink_;
    std::string buffer_;
    bool needsComma_ = false;
    bool newLine_ = false;
    bool failed_ = false;
};

} // namespace velkantrix
