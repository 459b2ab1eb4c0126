#include "tools/velkantrix-mp4/json_writer.h"

namespace velkantrix {
namespace {

constexpr std::size_t LONG = std::size_t{1} << 16; // bytes in one go

} // namespace

JsonWriter& JsonWriter::name(std::string_view name) {
    separate();
    buffer_ += '"';
    buffer_ += name;
    buffer_ += "\":";
    return *this;
}

void JsonWriter::hex(ByteView bytes) {
    constexpr std::string_view DIGITS = "0123456789abcdef";
    separate();
    buffer_ += '"';
    for (const std::uint8_t byte : bytes) {
        buffer_ += DIGITS[byte >> 4];
        buffer_ += DIGITS[byte & 15];
        flushWhenLong();
    }
    buffer_ += '"';
    needsComma_ = true;
    flushWhenLong();
}

bool JsonWriter::finish() {
    buffer_ += '\n';
    flush();
    return !failed_;
}

void JsonWriter::begin(char bracket) {
    separate();
    buffer_ += bracket;
}

void JsonWriter::end(char bracket) {
    buffer_ += bracket;
    needsComma_ = true;
    flushWhenLong();
}

void JsonWriter::put(std::string_view value) {
    separate();
    buffer_ += value;
    needsComma_ = true;
}

void JsonWriter::separate() {
    if (needsComma_) buffer_ += ',';
    if (newLine_) buffer_ += '\n';
    needsComma_ = false;
    newLine_ = false;
}

void JsonWriter::flushWhenLong() {
    if (buffer_.size() >= LONG) flush();
}

void JsonWriter::flush() {
    if (!failed_) failed_ = !sink_(buffer_);
    buffer_.clear();
}

} // namespace velkantrix
