#include "model/button_model.h"

#include "model/limits.h"
#include "model/picker_host.h"
#include "model/undo_chunk.h"


#include <algorithm>
#include <cmath>

namespace {

name_list* installed_list = nullptr;

} // namespace

bool buttonAttributes::operator==(const buttonAttributes& other) const
{
    return pos == other.pos && size == other.size && width == other.width
        && height == other.height && kind == other.kind && language == other.language
        && color == other.color && labelColor == other.labelColor && label == other.label
        && names == other.names && shape == other.shape && points == other.points
        && (kind != attribute_kind
            || (widget == other.widget && minimum[0] == other.minimum[0] && minimum[1] == other.minimum[1]
                && maximum[0] == other.maximum[0] && maximum[1] == other.maximum[1]))
        && picture == other.picture;
}

qint32 legacy_shape(qint32 kind, int name_count, const QString& label)
{
    if (kind == attribute_kind)
        return qint32(button_shape::rectangle);
    if (kind)
        return qint32(button_shape::rounded);
    if (name_count < 2)
        return qint32(button_shape::rectangle);
    return qint32(label.isEmpty() ? button_shape::ellipse : button_shape::rounded);
}

namespace {
const char* const shape_names[button_shape_count] = {"rectangle", "rounded", "ellipse", "polygon"};
const char* const widget_names[attribute_widget_count] = {"slider", "slider2d", "checkbox"};

// A value's word in a table of words, and back (-1 for none).
template <int N>
QString word_of(const char* const (&words)[N], qint32 value)
{
    return value >= 0 && value < N ? QString::fromLatin1(words[value]) : QString();
}

template <int N>
qint32 value_of(const char* const (&words)[N], const QString& word)
{
    for (qint32 i = 0; i < N; ++i)
        if (word == QLatin1String(words[i]))
            return i;
    return -1;
}
} // namespace

QString shape_name(qint32 shape)
{
    return word_of(shape_names, shape);
}

qint32 shape_from_name(const QString& name)
{
    return value_of(shape_names, name);
}

QString widget_name(qint32 widget)
{
    return word_of(widget_names, widget);
}

qint32 widget_from_name(const QString& name)
{
    return value_of(widget_names, name);
}

namespace {
// One identifier at i, moved past; false when none starts there.
bool skip_identifier(const QString& text, int& i)
{
    const auto first = [](QChar c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_'; };
    if (i >= text.size() || !first(text[i]))
        return false;
    ++i;
    while (i < text.size() && (first(text[i]) || (text[i] >= '0' && text[i] <= '9')))
        ++i;
    return true;
}
} // namespace

bool is_plug_name(const QString& plug)
{
    // A node (namespaces, a DAG path), then attributes each maybe indexed;
    // scanned by hand, as every attribute button read from a file is.
    if (plug.size() > 1024)
        return false;
    int i = 0;
    if (i < plug.size() && plug[i] == '|')
        ++i;
    for (;;) {
        if (!skip_identifier(plug, i))
            return false;
        if (i < plug.size() && (plug[i] == ':' || plug[i] == '|')) {
            ++i;
            continue;
        }
        break;
    }
    if (i >= plug.size())
        return false;
    while (i < plug.size()) {
        if (plug[i] != '.')
            return false;
        ++i;
        if (!skip_identifier(plug, i))
            return false;
        if (i < plug.size() && plug[i] == '[') {
            const int start = ++i;
            while (i < plug.size() && plug[i] >= '0' && plug[i] <= '9')
                ++i;
            if (i == start || i - start > 9 || i >= plug.size() || plug[i] != ']')
                return false;
            ++i;
        }
    }
    return true;
}

QString plug_node(const QString& plug)
{
    const int dot = plug.indexOf('.');
    return dot < 0 ? plug : plug.left(dot);
}

double value_fraction(const buttonAttributes& a, int i, double value)
{
    const double lo = a.minimum[i], hi = a.maximum[i];
    if (!(hi > lo))
        return 0;
    return std::clamp((value - lo) / (hi - lo), 0.0, 1.0);
}

double fraction_value(const buttonAttributes& a, int i, double fraction)
{
    const double lo = a.minimum[i], hi = a.maximum[i];
    return lo + std::clamp(fraction, 0.0, 1.0) * (hi - lo);
}

bool usable_range(double lo, double hi)
{
    return std::isfinite(lo) && std::isfinite(hi) && lo < hi && std::fabs(lo) <= limits::max_attribute_value
        && std::fabs(hi) <= limits::max_attribute_value;
}

QString settable_problem(const QString& plug, const attribute_facts& facts)
{
    if (!is_plug_name(plug))
        return QString("\"%1\" is not an attribute (node.attribute)").arg(plug);
    if (!facts.exists)
        return QString("%1 is not in the scene").arg(plug);
    if (facts.type == attribute_facts::other)
        return QString("%1 is not a number, a switch or a choice").arg(plug);
    return QString();
}

QString widget_range(const QString& plug, const attribute_facts& f, const double* given, double& lo, double& hi)
{
    if (given) {
        lo = given[0];
        hi = given[1];
    } else if (f.type == attribute_facts::boolean) {
        lo = 0;
        hi = 1;
    } else if (f.type == attribute_facts::enumeration) {
        if (f.enumFields < 2)
            return QString("%1 has fewer than two fields to choose from").arg(plug);
        lo = 0;
        hi = f.enumFields - 1;
    } else if (f.hasMinimum && f.hasMaximum) {
        lo = f.minimum;
        hi = f.maximum;
    } else {
        return QString("%1 has no minimum and maximum: give the range").arg(plug);
    }
    if (!(lo < hi))
        return QString("the minimum must be below the maximum, not %1 and %2").arg(lo).arg(hi);
    if (std::fabs(lo) > limits::max_attribute_value || std::fabs(hi) > limits::max_attribute_value)
        return QString("the range must lie within +-%1").arg(limits::max_attribute_value);
    const double floor = f.hasMinimum ? f.minimum : f.type == attribute_facts::boolean ? 0 : -qInf();
    const double ceiling = f.hasMaximum ? f.maximum
        : f.type == attribute_facts::boolean ? 1
        : f.type == attribute_facts::enumeration ? f.enumFields - 1
                                                  : qInf();
    if (lo < floor || hi > ceiling)
        return QString("%1 takes values from %2 to %3, not %4 to %5")
            .arg(plug, QString::number(floor), QString::number(ceiling), QString::number(lo), QString::number(hi));
    return QString();
}

double checkbox_next(const buttonAttributes& a, double value)
{
    const double lo = a.minimum[0], hi = a.maximum[0];
    // Off and on: whatever lies between counts as off.
    if (hi - lo <= 1 || std::floor(lo) != lo || std::floor(hi) != hi)
        return value >= hi ? lo : hi;
    const double next = std::floor(value) + 1;
    return next > hi || next < lo ? lo : next;
}

QString set_attributes_mel(const QStringList& plugs, const QVector<double>& values)
{
    QString text;
    for (int i = 0; i < plugs.size() && i < values.size(); ++i)
        if (std::isfinite(values[i]))
            text += QString("setAttr %1 %2;").arg(mel_literal(plugs[i]), QString::number(values[i], 'g', 17));
    return text;
}

button_look attribute_look(qint32 widget)
{
    button_look look;
    look.color = 0x3a3f44;
    look.labelColor = 0xe6e6e6;
    switch (attribute_widget(widget)) {
    case attribute_widget::slider2d:
        look.width = look.height = 80;
        break;
    case attribute_widget::checkbox:
        look.width = look.height = 20;
        break;
    default:
        look.width = 120;
        look.height = 20;
        break;
    }
    return look;
}

buttonAttributes new_button(const QPoint& pos, const button_look& look, int kind, int language,
                            const QStringList& names)
{
    buttonAttributes a;
    a.pos = pos;
    a.size = look.width;
    a.width = look.width;
    a.height = look.height;
    a.kind = kind;
    a.language = language;
    a.color = look.color;
    a.labelColor = look.labelColor;
    a.label = look.label;
    a.names = names;
    a.shape = legacy_shape(kind, names.size(), look.label);
    return a;
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
    installed_list = list;
}

name_list* buttonRecord::selection_list()
{
    return installed_list;
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
    // An attribute button's plugs are no selection: a marquee over a face
    // picks its sliders without selecting their nodes in the host.
    if (quiet || kind == attribute_kind) {
        nameFlags.fill(1);
    } else {
        name_list* list = installed_list;
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
    if (quiet || kind == attribute_kind) {
        nameFlags.fill(0);
    } else {
        name_list* list = installed_list;
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

void run_button_script(const buttonAttributes& a)
{
    if (a.kind != 1 || a.names.isEmpty() || a.names[0].isEmpty())
        return;
    // The script is one step on the host's undo queue, however many
    // commands it runs.
    if (a.language == 0)
        picker_host::instance().run_mel_on_idle(mel_in_undo_chunk(a.names[0]));
    else if (a.language == 1)
        picker_host::instance().run_python_on_idle(python_in_undo_chunk(a.names[0]));
}
