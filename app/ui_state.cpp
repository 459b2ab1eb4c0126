#include "app/ui_state.h"

namespace velkantrix {

UiState& ui() {
    static UiState state;
    return state;
}

} // namespace velkantrix
