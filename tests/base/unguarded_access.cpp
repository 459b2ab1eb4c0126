// Must not compile by clang: the lock annotations are only worth something if this is refused.
#include "base/mutex.h"

namespace velkantrix {

struct Guarded {
    Mutex first ACQUIRED_BEFORE(second);
    Mutex second;
    int value GUARDED_BY(first) = 0;
};

int readWithoutTheLock(Guarded& guarded) {
    return guarded.value;
}

void lockInTheWrongOrder(Guarded& guarded) {
    const Lock second(guarded.second);
    const Lock first(guarded.first);
}

} // namespace velkantrix
