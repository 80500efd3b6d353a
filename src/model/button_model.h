// The values every picker tab is made of: a button's attributes, the record a
// view keeps for it, and the set of object names matched against the host's
// selection.
#pragma once

#include "model/label_picture.h"

#include <QHash>
#include <QPixmap>
#include <QPoint>
#include <QRect>
#include <QString>
#include <QStringList>
#include <QVector>

// What is saved, copied and restored by undo. The field order is the order
// every stream writes them in.
struct buttonAttributes {
    QPoint pos;             // centre, picker coordinates
    qint32 size = 0;        // legacy single size, kept equal to width
    qint32 width = 0;
    qint32 height = 0;
    qint32 kind = 0;        // 0 selection button, 1 command button
    qint32 language = 0;    // command buttons: 0 MEL, 1 Python
    quint32 color = 0;      // 0xAARRGGBB, alpha ignored when drawing
    quint32 labelColor = 0; // same form; older files mean white, 0xffffff
    QString label;
    QStringList names;      // object names, or the script in element 0

    bool operator==(const buttonAttributes& other) const;
    bool operator!=(const buttonAttributes& other) const { return !(*this == other); }
};

// Plain values all (point, integers, implicitly shared strings): containers
// may move them with memcpy.
Q_DECLARE_TYPEINFO(buttonAttributes, Q_MOVABLE_TYPE);

// A button as it lives on a view.
struct buttonRecord : buttonAttributes {
    buttonRecord() = default;
    explicit buttonRecord(const buttonAttributes& attributes);

    QRect bounds;           // picker coordinates, centred on pos
    label_picture labelPixmap; // null without a label; drawn when first used
    qint16 selected = 0;    // 0 none, 1 all names, 2 some names selected in the host
    QVector<quint8> nameFlags; // one per name: selected through this button

    void moveTo(const QPoint& p);
    // Mark the button (and each of its names) selected; unless quiet, every
    // name not yet flagged is passed to the host hook. True when one was.
    bool select(bool quiet);
    bool unselect(bool quiet);

    // The window passes names to the host through these; without them the
    // flags still change but nobody is told.
    using name_hook = bool (*)(const QString& name);
    static void set_selection_hooks(name_hook select_name, name_hook unselect_name);
};

// An ordered, duplicate-free set of object names; comparisons are exact and
// case-sensitive. The hash beside the vector keeps contains() fast for
// thousands of names without changing the order.
class button_set {
public:
    button_set() = default;
    static button_set fromStringList(const QStringList& names);

    void append(const QString& name);
    void add_button(const buttonRecord& record);
    void remove_button(const buttonRecord& record);
    void removeOne(const QString& name);
    bool contains(const QString& name) const;
    // " a b" for {a, b}: a blank before every name.
    void appendAllToString(QString* out) const;

    int size() const { return items_.size(); }
    bool isEmpty() const { return items_.isEmpty(); }
    const QVector<QString>& items() const { return items_; }

private:
    QVector<QString> items_;
    QHash<QString, int> count_; // how often each name occurs in items_ (0 or 1)
};
