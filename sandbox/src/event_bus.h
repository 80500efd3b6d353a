// Event callbacks (MEventMessage, MSceneMessage): who is called for what.
#pragma once

#include <QString>
#include <QVector>

#include <cstdint>
#include <functional>

namespace sandbox {

struct callback_record {
    std::uintptr_t id;
    QString event;
    void (*fn)(void*);
    void* data;
    QString owner; // the plug-in whose code added it; empty for the host's own
};

class event_bus {
public:
    static bool is_known(const QString& event);
    // How the script output names an event: scene messages by their message.
    static QString display_name(const QString& event);
    // 0 for an unknown event or no function. Scene messages ("scene:...")
    // are taken although no event callback can ask for them.
    std::uintptr_t add(const QString& event, void (*fn)(void*), void* data, const QString& owner);
    bool remove(std::uintptr_t id);
    // Calls each callback of the event through `call`, which runs c.fn(c.data).
    void fire(const QString& event, const std::function<void(const callback_record& c)>& call);
    int count(const QString& event) const;

    const QVector<callback_record>& records() const { return callbacks_; }

private:
    QVector<callback_record> callbacks_;
    std::uintptr_t next_id_ = 1;
};

} // namespace sandbox
