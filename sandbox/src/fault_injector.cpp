#include "fault_injector.h"

namespace sandbox {

bool fault_injector::take(fault which)
{
    auto it = left_.find(int(which));
    if (it == left_.end())
        return false;
    if (it.value() > 0) {
        --it.value();
        return false;
    }
    left_.erase(it);
    return true;
}

} // namespace sandbox
