#include "idle_queue.h"

namespace sandbox {

QStringList idle_queue::texts() const
{
    QStringList texts;
    for (const idle_item& item : items_)
        texts << item.text;
    return texts;
}

int idle_queue::drain(int limit, const std::function<void(const idle_item&)>& run,
                      const std::function<void(int left)>& overflow)
{
    if (draining_)
        return 0; // a nested drain would reorder the queue
    draining_ = true;
    int ran = 0;
    while (!items_.isEmpty()) {
        if (ran == limit) {
            overflow(items_.size());
            items_.clear();
            break;
        }
        const idle_item item = items_.takeFirst();
        ++ran;
        run(item);
    }
    draining_ = false;
    return ran;
}

} // namespace sandbox
