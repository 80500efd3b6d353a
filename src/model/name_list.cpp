#include "model/name_list.h"

#include "model/object_names.h"

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
    if (member_[size_t(id)] == alias_mark) {
        const auto at = std::find(alias_ids_.begin(), alias_ids_.end(), id);
        const int owner = alias_owner_[size_t(at - alias_ids_.begin())];
        return remove(owner);
    }
    member_[size_t(id)] = 0;
    --live_;
    current_ = false;
    // Its other names leave with it.
    for (size_t i = 0; i < alias_ids_.size(); ++i)
        if (alias_owner_[i] == id && member_[size_t(alias_ids_[i])] == alias_mark)
            member_[size_t(alias_ids_[i])] = 0;
    if (batch_ > 0)
        loose_ = true;
    else if (!loose_)
        order_.erase(std::find(order_.begin(), order_.end(), id));
    return true;
}

void name_list::drop_aliases()
{
    for (int id : alias_ids_)
        if (member_[size_t(id)] == alias_mark)
            member_[size_t(id)] = 0;
    alias_ids_.clear();
    alias_owner_.clear();
}

void name_list::assign(const QStringList& names, const QStringList& full_paths)
{
    drop_aliases();
    for (int id : order_)
        member_[size_t(id)] = 0;
    order_.clear();
    live_ = 0;
    loose_ = false;
    if (name_ids::trim(name_table_limit))
        member_.clear();
    for (const QString& name : names)
        add(name_ids::intern(name));
    // Paths only when the host gave one per name; a name with no '|' in
    // its full path has no other form but that path.
    if (full_paths.size() == names.size()) {
        for (int i = 0; i < names.size(); ++i) {
            if (full_paths.at(i) == names.at(i))
                continue;
            const int owner = name_ids::intern(names.at(i));
            const QStringList others = same_object_names(names.at(i), full_paths.at(i));
            for (int k = 1; k < others.size(); ++k) {
                const int id = name_ids::intern(others.at(k));
                if (size_t(id) >= member_.size())
                    member_.resize(size_t(std::max(name_ids::count(), id + 1)), 0);
                if (member_[size_t(id)])
                    continue;
                member_[size_t(id)] = alias_mark;
                alias_ids_.push_back(id);
                alias_owner_.push_back(owner);
            }
        }
    }
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
