// blockade.h: something that another thread asks for and gets only when the test says so.
#pragma once

#include <windows.h>

#include <atomic>

namespace velkantrix {

class Blockade {
public:
    void block() {
        reached_ = true;
        while (!lifted_) Sleep(1);
    }
    void lift() { lifted_ = true; }
    [[nodiscard]] bool isReached() const { return reached_; }

private:
    std::atomic<bool> reached_{false};
    std::atomic<bool> lifted_{false};
};

} // namespace velkantrix
