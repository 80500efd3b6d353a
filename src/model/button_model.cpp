#include "model/button_model.h"

namespace {

name_list* selection_list = nullptr;

} // namespace

bool buttonAttributes::operator==(const buttonAttributes& other) const
{
    return pos == other.pos && size == other.size && width == other.width
        && height == other.height && kind == other.kind && language == other.language
        && color == other.color && labelColor == other.labelColor && label == other.label
        && names == other.names;
}

buttonRecord::buttonRecord(const buttonAttributes& attributes)
    : buttonAttributes(attributes)
    , nameFlags(attributes.names.size(), 0)
{
}

void buttonRecord::moveTo(const QPoint& p)
{
    pos = p;
    bounds.moveCenter(p);
}

void buttonRecord::set_selection_list(name_list* list)
{
    selection_list = list;
}

const name_id_list& buttonRecord::make_name_ids() const
{
    ids_.resize(names.size());
    for (int i = 0; i < names.size(); ++i)
        ids_[i] = name_ids::intern(names.at(i));
    idsFor_ = names;
    idsGeneration_ = name_ids::generation();
    return ids_;
}

bool buttonRecord::select(bool quiet)
{
    bool passed = false;
    if (quiet) {
        nameFlags.fill(1);
    } else {
        name_list* list = selection_list;
        const int* ids = list ? name_ids().constData() : nullptr;
        const int n = list ? ids_.size() : names.size();
        // Names edited after the record was built would otherwise index past the flags.
        if (nameFlags.size() < n)
            nameFlags.resize(n);
        quint8* flags = nameFlags.data();
        for (int i = 0; i < n; ++i) {
            if (flags[i])
                continue;
            if (list)
                list->add(ids[i]);
            flags[i] = 1;
            passed = true;
        }
    }
    selected = 1;
    return passed;
}

bool buttonRecord::unselect(bool quiet)
{
    bool passed = false;
    if (quiet) {
        nameFlags.fill(0);
    } else {
        name_list* list = selection_list;
        const int* ids = list ? name_ids().constData() : nullptr;
        const int n = qMin(list ? ids_.size() : names.size(), nameFlags.size());
        quint8* flags = nameFlags.data();
        for (int i = 0; i < n; ++i) {
            if (!flags[i])
                continue;
            if (list)
                list->remove(ids[i]);
            flags[i] = 0;
            passed = true;
        }
    }
    selected = 0;
    return passed;
}

button_set button_set::fromStringList(const QStringList& names)
{
    button_set set;
    for (const QString& name : names)
        set.append(name);
    return set;
}

void button_set::append(const QString& name)
{
    if (contains(name))
        return;
    items_.append(name);
    count_.insert(name, 1);
}

void button_set::add_button(const buttonRecord& record)
{
    for (const QString& name : record.names)
        append(name);
}

void button_set::remove_button(const buttonRecord& record)
{
    for (const QString& name : record.names)
        removeOne(name);
}

void button_set::removeOne(const QString& name)
{
    // The hash answers the common "not there" case without a scan.
    if (!contains(name))
        return;
    const int i = items_.indexOf(name);
    if (i >= 0)
        items_.remove(i);
    count_.remove(name);
}

bool button_set::contains(const QString& name) const
{
    return count_.value(name, 0) > 0;
}

void button_set::appendAllToString(QString* out) const
{
    if (!out)
        return;
    for (const QString& name : items_) {
        out->append(QLatin1Char(' '));
        out->append(name);
    }
}
