// Texts to run when the application is next idle, first in first out.
#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <functional>

namespace sandbox {

struct idle_item {
    QString text;
    bool python;
    bool display;
    std::function<void()> action = {}; // run instead of the text (which says what it is)
};

class idle_queue {
public:
    void push(const idle_item& item) { items_.append(item); }
    int size() const { return items_.size(); }
    QStringList texts() const;
    void clear() { items_.clear(); }
    bool draining() const { return draining_; }

    // Runs items, those queued meanwhile too, until none are left. After
    // `limit` of them it calls `overflow` with how many are left, drops
    // them and stops. Returns how many ran; a nested drain runs none.
    int drain(int limit, const std::function<void(const idle_item&)>& run,
              const std::function<void(int left)>& overflow);

private:
    QList<idle_item> items_;
    bool draining_ = false;
};

} // namespace sandbox
