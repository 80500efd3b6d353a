#include "event_bus.h"

#include <QStringList>

#include <utility>

namespace sandbox {

namespace {
const QStringList known_events = {
    "SelectionChanged", "SceneOpened", "NewSceneOpened", "deleteAll", "quitApplication",
    "SceneSaved", "idle"};
} // namespace

bool event_bus::is_known(const QString& event)
{
    return known_events.contains(event);
}

QString event_bus::display_name(const QString& event)
{
    const QString scene = "scene:";
    return event.startsWith(scene) ? "k" + event.mid(scene.size()) : event;
}

std::uintptr_t event_bus::add(const QString& event, void (*fn)(void*), void* data, const QString& owner)
{
    if (!(is_known(event) || event.startsWith("scene:")) || !fn)
        return 0;
    std::uintptr_t id = next_id_++;
    callbacks_.append({id, event, fn, data, owner});
    return id;
}

bool event_bus::remove(std::uintptr_t id)
{
    for (int i = 0; i < callbacks_.size(); ++i) {
        if (callbacks_[i].id == id) {
            callbacks_.remove(i);
            return true;
        }
    }
    return false;
}

void event_bus::fire(const QString& event, const std::function<void(const callback_record&)>& call)
{
    // A callback may add or remove callbacks: walk a snapshot of the ids and
    // skip the ones gone by the time their turn comes.
    QVector<std::uintptr_t> ids;
    for (const callback_record& c : std::as_const(callbacks_))
        if (c.event == event)
            ids.append(c.id);
    for (std::uintptr_t id : ids) {
        for (const callback_record& c : std::as_const(callbacks_)) {
            if (c.id == id) {
                const callback_record copy = c; // the callback may change the list
                call(copy);
                break;
            }
        }
    }
}

int event_bus::count(const QString& event) const
{
    int n = 0;
    for (const callback_record& c : callbacks_)
        n += c.event == event;
    return n;
}

} // namespace sandbox
