#include "tools/velkantrix-mp4/mp4_tool.h"

#include <new>

#include "mp4/input_file.h"
#include "tools/velkantrix-mp4/describe_file.h"
#include "velkantrix_version.h"

namespace velkantrix {
namespace {

constexpr int SUCCESS = 0, FAILURE = 1, USAGE = 2;

int fail(const TextSink& error, int code, const std::string& reason) {
    error("velkantrix-mp4: " + reason + "\n"); // who doesn't listen still gets the exit code
    return code;
}

} // namespace

int runMp4Tool(const std::vector<NativeText>& words, const TextSink& out, const TextSink& error) {
    const std::string notWritten = "The output can't be written.";
    std::string problem;
    const auto arguments = parseMp4Arguments(words, problem);
    if (!arguments) return fail(error, USAGE, problem + " (--help tells more)");
    if (arguments->help || arguments->version) {
        const bool written =
            out(arguments->help ? mp4Usage() : "velkantrix-mp4 " VELKANTRIX_VERSION_TEXT "\n");
        return written ? SUCCESS : fail(error, FAILURE, notWritten);
    }
    const InputFile file = openForSequentialScan(arguments->file);
    if (!file) return fail(error, FAILURE, "Can't open " + shownText(arguments->file));
    JsonWriter json(out);
    try {
        problem = describeFile(*arguments, file, json);
    } catch (const std::bad_alloc&) { return fail(error, FAILURE, "There isn't enough memory."); }
    if (!json.finish()) problem = notWritten;
    return problem.empty() ? SUCCESS : fail(error, FAILURE, problem);
}

} // namespace velkantrix
