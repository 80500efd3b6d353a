// Event callbacks (MEventMessage, MSceneMessage): who is called for what.
#pragma once

#include <QString>
#include <QVector>

#include <cstdint>

namespace sandbox {

struct callback_record {
    std::uintptr_t id;
    QString event;
    void (*fn)(void*);
    void* data;
};

class event_bus {
public:
    static bool is_known(const QString& event);
    // 0 for an unknown event or no function. Scene messages ("scene:...")
    // are taken although no event callback can ask for them.
    std::uintptr_t add(const QString& event, void (*fn)(void*), void* data);
    bool remove(std::uintptr_t id);
    void fire(const QString& event);
    int count(const QString& event) const;

    const QVector<callback_record>& records() const { return callbacks_; }
    // The id the next callback gets: ids only grow, so a plug-in's
    // callbacks are those from here on while it initialises.
    std::uintptr_t next_id() const { return next_id_; }

private:
    QVector<callback_record> callbacks_;
    std::uintptr_t next_id_ = 1;
};

} // namespace sandbox
