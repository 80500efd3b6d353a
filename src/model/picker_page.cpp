#include "model/picker_page.h"

#include "model/label_picture.h"
#include "model/name_ids.h"
#include "model/limits.h"
#include "model/namespaces.h"
#include "model/picker_stream.h"
#include "model/side_patterns.h"

#include <QGuiApplication>

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace {

quint64 next_binding_stamp()
{
    static quint64 last = 0;
    return ++last;
}

button_id next_id()
{
    static button_id last = 0;
    return ++last;
}

// Sets every button's name flags and state from whether each name is
// selected; true when any button's shown state changed. This runs over
// every button of every tab whenever the host's selection changes.
template <typename Selected>
bool conform_buttons(QList<buttonRecord>& buttons, const Selected& selected)
{
    bool changed = false;
    for (buttonRecord& r : buttons) {
        const int n = r.names.size();
        if (r.nameFlags.size() != n)
            r.nameFlags.resize(n);
        quint8* flags = r.nameFlags.data();
        int count = 0;
        for (int i = 0; i < n; ++i) {
            const quint8 on = selected(r, i) ? 1 : 0;
            flags[i] = on;
            count += on;
        }
        const qint16 state = count == n ? 1 : (count < 1 ? 0 : 2);
        if (state != r.selected) {
            changed = true;
            r.selected = state;
        }
    }
    return changed;
}

} // namespace

picker_page::picker_page(QObject* parent)
    : QObject(parent), mirrorPatterns_(side_patterns::user_default()), bindingStamp_(next_binding_stamp())
{
}

// ----- Reading

int picker_page::row_of(button_id id) const
{
    if (!indexValid_) {
        index_.clear();
        index_.reserve(buttons_.size());
        for (int k = 0; k < buttons_.size(); ++k)
            index_.insert(buttons_.at(k).id, k);
        indexValid_ = true;
    }
    return index_.value(id, -1);
}


QVector<button_id> picker_page::ids_of(const QVector<int>& rows) const
{
    QVector<button_id> ids;
    ids.reserve(rows.size());
    for (int k : rows)
        ids.append(buttons_.at(k).id);
    return ids;
}

// ----- Buttons in and out

int picker_page::insert(buttonAttributes&& a, int row, button_id id)
{
    row = place(std::move(a), row, id);
    notify_layout();
    return row;
}

int picker_page::place(buttonAttributes&& a, int row, button_id id)
{
    if (row < 0 || row > buttons_.size())
        row = buttons_.size();
    // Built where it lives: a record copied into the list would cost a second
    // round of reference counting for each of the thousands a file holds.
    buttons_.insert(row, buttonRecord());
    buttonRecord& r = buttons_[row];
    static_cast<buttonAttributes&>(r) = std::move(a);
    r.id = id ? id : next_id();
    r.nameFlags.fill(0, r.names.size());
    r.width = std::max(r.width, 1);
    r.height = std::max(r.height, 1);
    r.size = r.width;
    lay_out(r);
    // Appending keeps the index; anything else renumbers the rows after it.
    if (indexValid_ && row == buttons_.size() - 1)
        index_.insert(r.id, row);
    else
        index_dirty();
    return row;
}

int picker_page::insert(const buttonAttributes& a, int row, button_id id)
{
    return insert(buttonAttributes(a), row, id);
}

void picker_page::insert_all(QVector<buttonAttributes>&& list)
{
    if (list.isEmpty())
        return;
    buttons_.reserve(buttons_.size() + list.size());
    for (buttonAttributes& a : list)
        place(std::move(a), -1, 0);
    notify_layout();
}

QList<buttonAttributes> picker_page::attributes() const
{
    QList<buttonAttributes> list;
    list.reserve(buttons_.size());
    for (const buttonRecord& r : buttons_)
        list.append(r);
    return list;
}

void picker_page::remove(int row)
{
    if (row < 0 || row >= buttons_.size())
        return;
    if (indexValid_ && row == buttons_.size() - 1)
        index_.remove(buttons_.at(row).id);
    else
        index_dirty();
    picks_.remove(buttons_.at(row).id);
    buttons_.removeAt(row);
    notify_layout();
}

void picker_page::clear()
{
    if (buttons_.isEmpty())
        return;
    buttons_.clear();
    picks_.clear();
    index_.clear();
    indexValid_ = true;
    notify_layout();
}

// ----- Fields

void picker_page::lay_out(buttonRecord& r)
{
    // Kept within what a reader accepts, so that what is written reads back.
    clamp_geometry(r);
    // Without a QGuiApplication (Maya's batch mode, mayapy) there are no
    // fonts to measure with: a label takes no room beyond the set size.
    if (r.label.isEmpty() || !qobject_cast<QGuiApplication*>(QCoreApplication::instance())) {
        // No text: a plain box of the set size.
        r.labelPixmap = label_picture();
        QRect box(0, 0, r.width, r.height);
        box.moveCenter(r.pos);
        r.bounds = box;
        return;
    }
    // The picture is only measured here; it is drawn when first painted.
    QSize size;
    r.labelPixmap = label_picture_for(r.label, r.labelColor, &size);
    // A polygon keeps its outline: its label is shortened to fit inside it.
    const bool grows = r.shape != qint32(button_shape::polygon);
    QRect box(0, 0, grows ? std::max(size.width() + 2, r.width) : r.width,
              grows ? std::max(size.height(), r.height) : r.height);
    box.moveCenter(r.pos);
    r.bounds = box;
}

void picker_page::laid_out(int row, unsigned fields)
{
    lay_out(buttons_[row]);
    notify(fields, row);
}

void picker_page::remove_ids(const QVector<button_id>& ids)
{
    hold held(this);
    for (int i = ids.size() - 1; i >= 0; --i)
        remove(row_of(ids[i]));
}

void picker_page::move(int row, const QPoint& to)
{
    buttonRecord& r = buttons_[row];
    const QPoint centre(std::clamp(to.x(), -limits::max_coordinate, limits::max_coordinate),
                        std::clamp(to.y(), -limits::max_coordinate, limits::max_coordinate));
    if (r.pos == centre)
        return;
    r.moveTo(centre);
    notify(page_field::position, row);
}

void picker_page::resize(int row, int width, int height)
{
    buttonRecord& r = buttons_[row];
    r.width = std::max(width, 1);
    r.height = std::max(height, 1);
    r.size = r.width;
    laid_out(row, page_field::size);
}

void picker_page::set_width(int row, int width)
{
    buttonRecord& r = buttons_[row];
    r.size = width;
    r.width = width;
    laid_out(row, page_field::size);
}

void picker_page::set_height(int row, int height)
{
    buttonRecord& r = buttons_[row];
    r.height = height;
    laid_out(row, page_field::size);
}

void picker_page::set_color(int row, quint32 color)
{
    buttons_[row].color = color;
    notify(page_field::look, row);
}

void picker_page::set_picture(int row, const png_picture& picture)
{
    buttons_[row].picture = picture;
    notify(page_field::look, row);
}

void picker_page::set_label_color(int row, quint32 color)
{
    buttonRecord& r = buttons_[row];
    r.labelColor = color;
    laid_out(row, page_field::look);
}

void picker_page::set_label(int row, const QString& label)
{
    buttonRecord& r = buttons_[row];
    r.label = label;
    laid_out(row, page_field::look);
}

void picker_page::set_names(int row, const QStringList& names)
{
    buttonRecord& r = buttons_[row];
    r.names = names;
    r.nameFlags.resize(names.size());
    notify(page_field::binding, row);
}

void picker_page::set_attributes(int row, const buttonAttributes& a)
{
    buttonRecord& r = buttons_[row];
    static_cast<buttonAttributes&>(r) = a;
    r.nameFlags.resize(r.names.size());
    r.width = std::max(r.width, 1);
    r.height = std::max(r.height, 1);
    r.size = r.width;
    lay_out(r);
    notify(page_field::position | page_field::size | page_field::look | page_field::binding, row);
}

// ----- Lit state

bool picker_page::conform_to_selection()
{
    ++revision_;
    const name_list& list = name_list::picker();
    return conform_buttons(buttons_, [&](const buttonRecord& r, int i) { return list.contains(r.name_ids().at(i)); });
}

bool picker_page::conform_to_selected()
{
    ++revision_;
    // The names flagged on any button, by id.
    std::vector<quint8> flagged(size_t(name_ids::count()), 0);
    for (const buttonRecord& r : std::as_const(buttons_)) {
        const int n = qMin(r.names.size(), r.nameFlags.size());
        if (n == 0)
            continue;
        const name_id_list& ids = r.name_ids();
        for (int i = 0; i < n; ++i) {
            if (!r.nameFlags.at(i))
                continue;
            const size_t id = size_t(ids.at(i));
            if (id >= flagged.size())
                flagged.resize(size_t(name_ids::count()), 0);
            flagged[id] = 1;
        }
    }
    return conform_buttons(buttons_, [&](const buttonRecord& r, int i) {
        const size_t id = size_t(r.name_ids().at(i));
        return id < flagged.size() && flagged[id];
    });
}

void picker_page::clear_selected(bool quiet)
{
    ++revision_;
    // Dropping thousands of names from the list stays linear in a batch.
    name_list* list = buttonRecord::selection_list();
    if (list)
        list->begin_batch();
    for (buttonRecord& r : buttons_)
        r.unselect(quiet);
    if (list)
        list->end_batch();
}

bool picker_page::any_selected() const
{
    for (const buttonRecord& r : buttons_)
        if (r.selected)
            return true;
    return false;
}

bool picker_page::set_attribute_values(const QHash<QString, double>& values)
{
    bool changed = false;
    for (buttonRecord& r : buttons_) {
        if (r.kind != attribute_kind)
            continue;
        for (int i = 0; i < r.names.size() && i < 2; ++i) {
            const auto found = values.constFind(r.names[i]);
            if (found == values.constEnd())
                continue;
            const double was = r.value[i];
            if (!(was == *found || (std::isnan(was) && std::isnan(*found)))) {
                r.value[i] = *found;
                changed = true;
            }
        }
    }
    if (changed) {
        ++revision_;
        emit touched();
    }
    return changed;
}

QStringList picker_page::attribute_plugs() const
{
    QStringList out;
    QSet<QString> seen;
    for (const buttonRecord& r : buttons_)
        if (r.kind == attribute_kind)
            for (const QString& plug : r.names)
                if (!seen.contains(plug)) {
                    seen.insert(plug);
                    out << plug;
                }
    return out;
}

bool picker_page::set_missing(const QSet<QString>& names)
{
    bool changed = false;
    for (buttonRecord& r : buttons_) {
        bool missing = false;
        if (names_scene_objects(r.kind) && !names.isEmpty())
            for (const QString& name : std::as_const(r.names))
                if (names.contains(name)) {
                    missing = true;
                    break;
                }
        if (r.missing != missing) {
            r.missing = missing;
            changed = true;
        }
    }
    if (changed)
        ++revision_;
    return changed;
}

// ----- Targets

void picker_page::set_picks(const QVector<button_id>& ids)
{
    picking_ = true;
    picks_ = QSet<button_id>(ids.begin(), ids.end());
}

void picker_page::pick(button_id id, bool on)
{
    picking_ = true;
    if (on)
        picks_.insert(id);
    else
        picks_.remove(id);
}

void picker_page::drop_picks()
{
    picking_ = false;
    picks_.clear();
}

void picker_page::restore_picks(const picks_state& state)
{
    picking_ = state.picking;
    picks_ = state.ids;
}

bool picker_page::is_target(int row) const
{
    if (row < 0 || row >= buttons_.size())
        return false;
    const buttonRecord& r = buttons_.at(row);
    return picking_ ? picks_.contains(r.id) : r.selected == 1;
}

QVector<int> picker_page::target_rows() const
{
    if (!picking_)
        return lit_rows();
    // By the picks, not by every button: the toolbox asks after each edit.
    QVector<int> rows;
    rows.reserve(picks_.size());
    for (button_id id : picks_) {
        const int row = row_of(id);
        if (row >= 0)
            rows.append(row);
    }
    std::sort(rows.begin(), rows.end());
    return rows;
}

QVector<int> picker_page::lit_rows() const
{
    QVector<int> rows;
    for (int k = 0; k < buttons_.size(); ++k)
        if (buttons_.at(k).selected == 1)
            rows.append(k);
    return rows;
}

bool picker_page::any_target() const
{
    if (picking_)
        return std::any_of(picks_.begin(), picks_.end(), [this](button_id id) { return row_of(id) >= 0; });
    return std::any_of(buttons_.begin(), buttons_.end(), [](const buttonRecord& r) { return r.selected == 1; });
}

// ----- The page itself

void picker_page::set_background(const QString& key, const png_picture& picture)
{
    backgroundKey_ = key;
    background_ = picture;
    notify(page_field::background, -1);
}

void picker_page::set_name(const QString& given)
{
    // Cut like a label, never inside a character.
    QString name = given.left(limits::max_tab_name_chars);
    if (name.size() < given.size() && name.size() > 0 && name.at(name.size() - 1).isHighSurrogate())
        name.chop(1);
    if (name == name_)
        return;
    name_ = name;
    notify(page_field::name, -1);
}

void picker_page::set_path(const QString& path)
{
    if (path == path_)
        return;
    path_ = path;
    notify(page_field::path, -1);
}

bool picker_page::set_mirror_patterns(const QStringList& pairs)
{
    if (!side_patterns::check(pairs).isEmpty() || pairs.isEmpty())
        return false;
    if (pairs != mirrorPatterns_) {
        mirrorPatterns_ = pairs;
        notify(page_field::patterns, -1);
    }
    return true;
}

QStringList picker_page::namespaces() const
{
    QStringList out;
    for (const buttonRecord& r : buttons_)
        if (names_scene_objects(r.kind))
            for (const QString& name : r.names)
                extract_namespace(out, name);
    std::sort(out.begin(), out.end(), compare_name);
    return out;
}

const page_binding& picker_page::binding() const
{
    if (!bindingValid_) {
        binding_ = binding_of(buttons_);
        bindingValid_ = true;
    }
    return binding_;
}

const QSet<QString>& picker_page::binding_nodes() const
{
    if (!nodesValid_) {
        nodes_ = nodes_of(buttons_);
        nodesValid_ = true;
    }
    return nodes_;
}

// ----- Notices

picker_page::hold::hold(picker_page* page) : page_(page)
{
    page_->hold_notices();
}

picker_page::hold::~hold()
{
    page_->release_notices();
}

void picker_page::hold_notices()
{
    ++holds_;
}

void picker_page::release_notices()
{
    if (holds_ > 0 && --holds_ == 0 && pending_.fields) {
        page_notice notice;
        std::swap(notice, pending_);
        emit changed(notice);
    }
}

void picker_page::mark_saved()
{
    const bool was = modified();
    savedEdits_ = storedEdits_;
    if (was)
        emit modified_changed(false);
}

void picker_page::notify(unsigned fields, int row)
{
    ++revision_;
    if (fields & (page_field::binding | page_field::layout)) {
        bindingValid_ = false;
        nodesValid_ = false;
        bindingStamp_ = next_binding_stamp();
    }
    if (fields & page_field::stored) {
        const bool was = modified();
        ++storedEdits_;
        if (!was)
            emit modified_changed(true);
    }
    emit touched();
    pending_.fields |= fields;
    // A layout notice already concerns every button.
    if (row >= 0 && !(pending_.fields & page_field::layout))
        pending_.buttons.append(buttons_.at(row).id);
    if (holds_ == 0) {
        page_notice notice;
        std::swap(notice, pending_);
        emit changed(notice);
    }
}

void picker_page::notify_layout()
{
    pending_.buttons.clear();
    notify(page_field::layout, -1);
}
