// The names the picker has selected, as ids (see name_ids.h) in the order
// they came, with a slot per id saying whether it is in: adding or dropping
// a name is an array access, so selecting thousands of buttons costs about
// what hit-testing them costs. The list of strings is made when read.
#pragma once

#include "model/name_ids.h"

#include <QStringList>

#include <algorithm>
#include <vector>

class name_list {
public:
    // The picker's own: the names its buttons have selected, which the host
    // hears of. The window installs it as the list buttons report to.
    static name_list& picker();

    bool contains(int id) const { return id >= 0 && size_t(id) < member_.size() && member_[size_t(id)] != 0; }
    bool isEmpty() const { return live_ == 0; }
    // An alias (see assign) is in already: adding it adds nothing.
    bool add(int id)
    {
        if (size_t(id) >= member_.size())
            member_.resize(size_t(std::max(name_ids::count(), id + 1)), 0);
        if (member_[size_t(id)])
            return false;
        member_[size_t(id)] = 1;
        order_.push_back(id);
        ++live_;
        current_ = false;
        return true;
    }
    bool remove(int id);
    // Replaces the whole list; repeated names are kept once. Each name's
    // other names for the same object (the host's full path and the paths
    // between, see same_object_names) are contained too without being
    // listed, so a button bound by any of them lights; dropping one drops
    // the name it stands for.
    void assign(const QStringList& names, const QStringList& full_paths = QStringList());
    const QStringList& names();

    // While a batch is open, dropped names leave the order in one pass at
    // its end, so dropping thousands stays linear.
    void begin_batch() { ++batch_; }
    void end_batch();

private:
    void compact();
    void drop_aliases();

    // member_ marks: 1 listed, 2 while compacting, 4 an alias.
    static constexpr quint8 alias_mark = 4;

    std::vector<quint8> member_;
    // Inside a batch this may still hold dropped ids, and ids taken again
    // after being dropped twice; loose_ says so.
    std::vector<int> order_;
    int live_ = 0;
    int batch_ = 0;
    bool loose_ = false;
    QStringList names_;
    bool current_ = true;
    std::vector<int> alias_ids_;
    std::vector<int> alias_owner_; // beside alias_ids_; only host selections with paths have any
};
