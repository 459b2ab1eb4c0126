// The input chooses edit operations and their arguments; no choice may break the edit.
#include <cstddef>
#include <cstdint>

#include "fuzz/require.h"
#include "tests/support/edit_actions.h"
#include "tests/support/edit_invariants.h"

namespace velkantrix {
namespace {

// Takes as many bytes as the limit needs; at the end of the input every choice is the first.
class InputChooser {
public:
    InputChooser(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

    std::uint32_t below(std::uint32_t limit) {
        std::uint32_t value = 0;
        for (std::uint32_t rest = limit - 1; rest > 0; rest >>= 8) value = value << 8 | next();
        return value % limit;
    }

    [[nodiscard]] bool atEnd() const { return size_ == 0; }

private:
    std::uint8_t next() {
        if (size_ == 0) return 0;
        --size_;
        return *data_++;
    }

    const std::uint8_t* data_;
    std::size_t size_;
};

void run(InputChooser& chooser) {
    EditRecorder recorder;
    recorder.keepsStates = false;
    editState() = {};
    editHost() = recorder.host();
    EditActions actions(chooser, recorder);
    actions.openVideo();
    require(editProblem(editState()));
    while (!chooser.atEnd()) {
        actions.act();
        require(editProblem(editState()));
        require(actions.wrongAnswers == 0 ? "" : "a lookup answered with nonsense");
        recorder.forget();
    }
    editHost() = {};
}

} // namespace
} // namespace velkantrix

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    velkantrix::InputChooser chooser(data, size);
    velkantrix::run(chooser);
    return 0;
}
