// Several copies of one character in a scene (charA:, charB: ...): which
// namespace a picker drives, and which tab answers when the animator
// selects objects of another copy in the host.
#pragma once

#include "model/button_model.h"

#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QVector>

#include <functional>

class picker_page;

// What a picker's selection buttons bind, read once per change of their
// names. Namespaces are bare ("chars:hero"), the root ":".
struct page_binding {
    // The namespace most names live in (see namespaces_by_use); empty when
    // the picker has no selection names.
    QString main;
    // The namespace each name's node lives in itself (parents not counted).
    QSet<QString> direct;
    // A few node names in main or nested in it, spread over the picker:
    // enough to tell whether another copy of the character has them.
    QStringList sample;
};

// Names per picker that decide whether it fits another copy.
constexpr int binding_sample_size = 8;

page_binding binding_of(const QList<buttonRecord>& buttons);
// The node of every name, without a DAG path: asked only while following.
QSet<QString> nodes_of(const QList<buttonRecord>& buttons);

// The namespace of the node a name (path, attribute or component) ends
// in, bare; empty for the root.
QString node_namespace(const QString& name);
// What a host selection is about: the namespace of the most recently
// selected name that has one; empty when none has.
QString selection_namespace(const QStringList& names);
// That name's node, without a DAG path; empty when no name has a namespace.
QString selection_node(const QStringList& names);

struct follow_step {
    enum action { stay, show, rebind };
    action what = stay;
    int page = -1;  // the page to show, or to rebind and show
    QString to;     // for rebind: the namespace its main one moves to
};

// Where to go for a selection of `node` in namespace ns. The picker that
// holds the node itself answers first (nowhere when it is the current
// one), then one that holds it under another copy's namespace and fits
// this one, rebound (a facial picker follows the face control picked).
// Then by namespace (or a parent of it, the deepest first): nowhere when
// the current page drives it; else the page that does (its main
// namespace before one it merely uses); else a page whose sampled names
// the scene has under it instead of its own (the current page first),
// rebound. `missing` returns the names among those given that the scene
// lacks.
follow_step plan_follow(const QVector<const picker_page*>& pages, int current, const QString& ns,
                        const std::function<QStringList(const QStringList&)>& missing,
                        const QString& node = QString());
