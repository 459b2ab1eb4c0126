#include "tools/velkantrix-cut/cut_usage.h"

namespace velkantrix {

std::wstring cutUsage() {
    return L"usage: velkantrix-cut INPUT OUTPUT --keep START-END [--keep START-END]... "
           L"[OPTION]...\n"
           L"       velkantrix-cut INPUT --separate FOLDER --keep START-END... [OPTION]...\n"
           L"\n"
           L"Writes the kept parts of INPUT to OUTPUT (MP4), one after the other, without "
           L"encoding\n"
           L"anything anew: every part begins at the keyframe at or before START and ends at the\n"
           L"first keyframe at or after END. Where it is to be encoded (another quality, fades,\n"
           L"exposure) the parts are cut at their exact pictures. INPUT is only read. An existing\n"
           L"OUTPUT is replaced, once the new one is complete.\n"
           L"\n"
           L"  --keep START-END  a part to keep; times are seconds (75.5) or hh:mm:ss.mmm "
           L"(1:15.5);\n"
           L"                    without START from the beginning, without END to the end\n"
           L"  --separate FOLDER a file for each part in a folder that exists: clip-01.mp4,\n"
           L"                    clip-02.mp4, ...; existing ones are replaced\n"
           L"  --quality QUALITY lossless (as above, unless something else is given), source\n"
           L"                    (encoded, of the source's size), or 1080, 720, 480: encoded to\n"
           L"                    fit into 1920x1080, 1280x720 or 854x480\n"
           L"  --exposure STOPS  brighter, or darker with less than 0; from -1 to 1\n"
           L"  --fade-in PART:SECONDS, --fade-out PART:SECONDS\n"
           L"                    of a kept part, counted from 1; not longer than the part\n"
           L"  --json            progress and result as lines of JSON on standard output\n"
           L"  --version         the version\n"
           L"  --help            this text\n"
           L"\n"
           L"With exposure or fades, lossless means source, and standard error says so.\n"
           L"\n"
           L"Ctrl+C cancels and leaves no output, but those of --separate that are complete. The\n"
           L"exit code is 0 for success, 1 for failure (the reason is on standard error), 2 for\n"
           L"arguments that can't be meant.\n";
}

} // namespace velkantrix
