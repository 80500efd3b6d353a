#include "model/name_ids.h"

#include <QHash>
#include <QVector>

#include <algorithm>
#include <vector>

namespace {

// The names in id order, and an open-addressed table of ids by the names'
// hashes (half full at most): a name costs its string and 16 bytes more,
// where a hash of strings would cost three times that.
struct table {
    QVector<QString> names;
    std::vector<int> buckets; // -1: empty
    std::vector<uint> hashes; // of each name, by id, so growing rehashes nothing

    void grow()
    {
        std::vector<int> bigger(std::max<size_t>(64, buckets.size() * 2), -1);
        const size_t mask = bigger.size() - 1;
        for (int id = 0; id < names.size(); ++id) {
            size_t at = hashes[size_t(id)] & mask;
            while (bigger[at] >= 0)
                at = (at + 1) & mask;
            bigger[at] = id;
        }
        buckets.swap(bigger);
    }
};

// Qt's string hash leaves short names in a few low bits; the table indexes
// by low bits, so they are mixed first (MurmurHash3's finaliser).
uint mixed_hash(const QString& name)
{
    uint h = qHash(name);
    h ^= h >> 16;
    h *= 0x85ebca6bu;
    h ^= h >> 13;
    h *= 0xc2b2ae35u;
    h ^= h >> 16;
    return h;
}

table& the_table()
{
    static table t;
    return t;
}

} // namespace

namespace name_ids {

int generation_count = 0;

int intern(const QString& name)
{
    table& t = the_table();
    if (size_t(t.names.size()) * 2 >= t.buckets.size())
        t.grow();
    const uint h = mixed_hash(name);
    const size_t mask = t.buckets.size() - 1;
    size_t at = h & mask;
    for (; t.buckets[at] >= 0; at = (at + 1) & mask) {
        const int id = t.buckets[at];
        if (t.hashes[size_t(id)] == h && t.names.at(id) == name)
            return id;
    }
    const int id = t.names.size();
    t.buckets[at] = id;
    t.names.append(name);
    t.hashes.push_back(h);
    return id;
}

const QString& name(int id)
{
    return the_table().names.at(id);
}

int count()
{
    return the_table().names.size();
}

bool trim(int limit)
{
    table& t = the_table();
    if (t.names.size() <= limit)
        return false;
    t = table();
    ++generation_count;
    return true;
}

} // namespace name_ids
