#include "model/name_list.h"

name_list& name_list::picker()
{
    static name_list list;
    return list;
}

namespace {

// Past this many names the id table is emptied at the next assignment.
constexpr int name_table_limit = 1 << 20;

} // namespace

bool name_list::remove(int id)
{
    if (!contains(id))
        return false;
    member_[size_t(id)] = 0;
    --live_;
    current_ = false;
    if (batch_ > 0)
        loose_ = true;
    else if (!loose_)
        order_.erase(std::find(order_.begin(), order_.end(), id));
    return true;
}

void name_list::assign(const QStringList& names)
{
    for (int id : order_)
        member_[size_t(id)] = 0;
    order_.clear();
    live_ = 0;
    loose_ = false;
    if (name_ids::trim(name_table_limit))
        member_.clear();
    for (const QString& name : names)
        add(name_ids::intern(name));
    // Usually a list without repeats, kept as it is.
    names_ = live_ == names.size() ? names : QStringList();
    current_ = live_ == names.size();
}

void name_list::end_batch()
{
    if (--batch_ == 0)
        compact();
}

// Drops the ids no longer in; an id present twice keeps its last place, as
// it would have had the list dropped it at once.
void name_list::compact()
{
    if (!loose_)
        return;
    std::vector<int> kept;
    kept.reserve(size_t(live_));
    for (auto it = order_.rbegin(); it != order_.rend(); ++it) {
        if (member_[size_t(*it)] == 1) {
            member_[size_t(*it)] = 2;
            kept.push_back(*it);
        }
    }
    std::reverse(kept.begin(), kept.end());
    for (int id : kept)
        member_[size_t(id)] = 1;
    order_.swap(kept);
    loose_ = false;
}

const QStringList& name_list::names()
{
    if (!current_) {
        compact();
        QStringList list;
        list.reserve(int(order_.size()));
        for (int id : order_)
            list.append(name_ids::name(id));
        names_ = list;
        current_ = true;
    }
    return names_;
}
