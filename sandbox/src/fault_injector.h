// Host calls that a test makes fail: each armed fault lets a number of
// calls through, then fails one and is gone.
#pragma once

#include <sandbox/host.h>

#include <QHash>

namespace sandbox {

class fault_injector {
public:
    void arm(fault which, int after) { left_[int(which)] = after; }
    // True when this call is the one to fail.
    bool take(fault which);
    void clear() { left_.clear(); }

private:
    QHash<int, int> left_; // fault -> successful calls still allowed before it fails
};

} // namespace sandbox
