#include "tools/velkantrix-mp4/mp4_arguments.h"

#include <algorithm>
#include <charconv>

namespace velkantrix {
namespace {

// All options are ASCII, in which the units of both systems agree.
bool is(const NativeText& word, std::string_view ascii) {
    return std::equal(word.begin(), word.end(), ascii.begin(), ascii.end(),
                      [](auto unit, char c) { return unit == NativeText::value_type(c); });
}

bool takeFlag(const NativeText& word, Mp4Arguments& arguments) {
    if (is(word, "--samples")) return arguments.samples = true;
    if (is(word, "--claim")) return arguments.claim = true;
    if (is(word, "--help") || is(word, "-h")) return arguments.help = true;
    if (is(word, "--version")) return arguments.version = true;
    return false;
}

std::string quoted(const NativeText& word) {
    return ": " + shownText(word);
}

class ArgumentReader {
public:
    explicit ArgumentReader(const std::vector<NativeText>& words) : words_(words) {}

    // Empty, or what is wrong.
    std::string read() {
        for (; at_ < words_.size(); ++at_) {
            std::string problem = isOption() ? takeOption() : takeFile();
            if (!problem.empty()) return problem;
        }
        const bool needsFile = !arguments_.help && !arguments_.version;
        return needsFile && arguments_.file.empty() ? "No file is named." : "";
    }

    [[nodiscard]] const Mp4Arguments& arguments() const { return arguments_; }

private:
    [[nodiscard]] bool isOption() const {
        const NativeText& word = words_[at_];
        return !onlyFiles_ && word.size() > 1 && word[0] == NativeText::value_type('-');
    }

    std::string takeFile() {
        const NativeText& word = words_[at_];
        if (word.empty()) return "A file's name is empty.";
        if (!arguments_.file.empty()) return "One file too many" + quoted(word);
        arguments_.file = word;
        return {};
    }

    std::string takeOption() {
        const NativeText& word = words_[at_];
        if (is(word, "--")) {
            onlyFiles_ = true;
            return {};
        }
        if (is(word, "--keyframe")) return takeKeyframe();
        return takeFlag(word, arguments_) ? "" : "Unknown option" + quoted(word);
    }

    std::string takeKeyframe() {
        const bool given = at_ + 1 < words_.size();
        const auto seconds = given ? parseSeconds(words_[at_ + 1]) : std::nullopt;
        if (!seconds) {
            return "--keyframe needs seconds, such as 12.5" +
                   (given ? quoted(words_[at_ + 1]) : std::string("."));
        }
        arguments_.keyframeSeconds = seconds;
        ++at_;
        return {};
    }

    const std::vector<NativeText>& words_;
    std::size_t at_ = 0;
    bool onlyFiles_ = false; // after "--"
    Mp4Arguments arguments_;
};

constexpr char32_t REPLACEMENT = 0xFFFD;

void appendUtf8(std::string& text, char32_t point) {
    const auto tail = [&](int shift) {
        text += static_cast<char>(0x80 | (point >> shift & 0x3F));
    };
    if (point < 0x80) {
        text += static_cast<char>(point);
    } else if (point < 0x800) {
        text += static_cast<char>(0xC0 | point >> 6);
        tail(0);
    } else if (point < 0x10000) {
        text += static_cast<char>(0xE0 | point >> 12);
        tail(6);
        tail(0);
    } else {
        text += static_cast<char>(0xF0 | point >> 18);
        tail(12);
        tail(6);
        tail(0);
    }
}

bool isControl(char32_t point) {
    return point < 0x20 || point == 0x7F;
}

} // namespace

std::optional<Mp4Arguments> parseMp4Arguments(const std::vector<NativeText>& words,
                                              std::string& problem) {
    ArgumentReader reader(words);
    problem = reader.read();
    if (!problem.empty()) return std::nullopt;
    return reader.arguments();
}

std::optional<double> parseSeconds(const NativeText& text) {
    std::string ascii;
    for (const auto unit : text) {
        const bool digit = unit >= '0' && unit <= '9';
        if (!digit && unit != '.') return std::nullopt;
        ascii += static_cast<char>(unit);
    }
    if (ascii.empty() || ascii.front() == '.' || ascii.back() == '.') return std::nullopt;
    double seconds = 0;
    const char* const end = ascii.data() + ascii.size();
    const auto result = std::from_chars(ascii.data(), end, seconds, std::chars_format::fixed);
    if (result.ec != std::errc() || result.ptr != end) return std::nullopt;
    return seconds;
}

std::string shownText(std::string_view text) {
    std::string shown;
    for (const char c : text) shown += isControl(static_cast<unsigned char>(c)) ? '?' : c;
    return shown;
}

std::string shownText(std::u16string_view text) {
    const auto isHalf = [&](std::size_t at, char16_t first) {
        return at < text.size() && (text[at] & 0xFC00) == first;
    };
    std::string shown;
    for (std::size_t i = 0; i < text.size(); ++i) {
        char32_t point = text[i];
        if (isHalf(i, 0xD800) && isHalf(i + 1, 0xDC00)) {
            point = 0x10000 + ((point & 0x3FF) << 10) + (text[++i] & 0x3FFu);
        } else if ((point & 0xF800) == 0xD800) {
            point = REPLACEMENT;
        }
        appendUtf8(shown, isControl(point) ? U'?' : point);
    }
    return shown;
}

// Of systems on which these are 16 bits wide.
std::string shownText(std::wstring_view text) {
    return shownText(std::u16string(text.begin(), text.end()));
}

std::string mp4Usage() {
    return R"(usage: velkantrix-mp4 FILE [--samples] [--keyframe SECONDS] [--claim]

Shows as JSON what Velkantrix reads of an MP4 file: how its boxes lie ("probe"), its first video
track ("video") and, of fragmented files, its first AAC track ("audio").

  --samples           also the samples of the two tracks as they are stored, in decode order, of
                      fragmented files from the first keyframe in the table on; times are ticks of
                      the track's time scale, and "editOffset", of plain files, is what the video's
                      edit list adds to them
  --keyframe SECONDS  also the keyframe that a preview of this time shows, as it goes to the
                      decoder; "ok" is false, and that is no failure, when there is none
  --claim             also how far its boxes say that its video and its sound go, in seconds: what
                      a save compares with what could be read
  --version           the version
  --help              this text
  --                  what follows is a file, even if it begins with a dash

"crc32" is zlib's CRC-32 of the bytes, a number.

The exit code is 0 for success, 2 for arguments that can't be meant, and 1, with the reason on
standard error, when the file can't be opened, when its boxes can't be followed to its end (the
last one may run over it, and no more than the first 2100 are looked at), and when the output can't
be written. With --samples it is also 1 when the file's description of its tracks, its moov, is
missing or damaged, and when not all samples can be read. What could be read is printed all the
same.
)";
}

} // namespace velkantrix
