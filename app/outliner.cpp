#include "outliner.h"

#include <sandbox/host.h>

#include <QHash>
#include <QHeaderView>
#include <QItemSelection>
#include <QSet>

#include <utility>

namespace {

constexpr int name_role = Qt::UserRole;   // full node name, or full namespace
constexpr int branch_role = Qt::UserRole + 1;

// Maya's permanent namespaces are clutter unless something lives in them.
const QStringList permanent_namespaces = {"UI", "shared"};

QString leaf(const QString& full)
{
    return full.section(':', -1);
}

QString owner(const QString& full)
{
    int colon = full.lastIndexOf(':');
    return colon < 0 ? QString() : full.left(colon);
}

// A node is listed under the namespace of its own name, the last part of
// its path (grp|hero:ctl is hero's), and shown without it.
QString node_owner(const QString& path)
{
    return owner(path.section('|', -1));
}

QString node_label(const QString& path)
{
    const int bar = path.lastIndexOf('|');
    return path.left(bar + 1) + leaf(path.mid(bar + 1));
}

} // namespace

outliner::outliner(QWidget* parent) : QTreeWidget(parent)
{
    setHeaderLabels({"Name", "Type"});
    header()->setSectionResizeMode(0, QHeaderView::Stretch);
    header()->setStretchLastSection(false);
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setUniformRowHeights(true);
    callback_ = sandbox::host::instance().add_callback("SelectionChanged", &outliner::on_host_selection, this);
    connect(this, &QTreeWidget::itemSelectionChanged, this, &outliner::push_selection);
    refresh();
}

outliner::~outliner()
{
    // The host outlives every window; it must not call into a dead one.
    sandbox::host::instance().remove_callback(callback_);
}

void outliner::refresh()
{
    auto& host = sandbox::host::instance();
    const QStringList nodes = host.nodes();
    const QStringList namespaces = host.all_namespaces();
    QStringList types;
    for (const QString& node : nodes)
        types << host.node_type(node);
    const QString content = nodes.join('\n') + '\t' + types.join('\n') + '\t' + namespaces.join('\n');
    if (content != built_from_) {
        built_from_ = content;
        QSet<QString> collapsed;
        for (QTreeWidgetItemIterator it(this); *it; ++it)
            if ((*it)->data(0, branch_role).toBool() && !(*it)->isExpanded())
                collapsed.insert((*it)->data(0, name_role).toString());

        syncing_ = true;
        clear();
        QSet<QString> occupied; // namespaces with a node somewhere below
        for (const QString& node : nodes)
            for (QString ns = node_owner(node); !ns.isEmpty(); ns = owner(ns))
                occupied.insert(ns);

        // Namespaces come in creation order, so a parent is built before its children.
        QHash<QString, QTreeWidgetItem*> branches;
        for (const QString& ns : namespaces) {
            if (permanent_namespaces.contains(ns.section(':', 0, 0)) && !occupied.contains(ns))
                continue;
            QTreeWidgetItem* parent = branches.value(owner(ns));
            auto* item = parent ? new QTreeWidgetItem(parent) : new QTreeWidgetItem(this);
            item->setText(0, leaf(ns) + ':');
            item->setData(0, name_role, ns);
            item->setData(0, branch_role, true);
            item->setFlags(Qt::ItemIsEnabled);
            branches.insert(ns, item);
        }
        for (int i = 0; i < nodes.size(); ++i) {
            QTreeWidgetItem* parent = branches.value(node_owner(nodes[i]));
            auto* item = parent ? new QTreeWidgetItem(parent) : new QTreeWidgetItem(this);
            item->setText(0, node_label(nodes[i]));
            item->setText(1, types[i]);
            item->setToolTip(0, nodes[i]);
            item->setData(0, name_role, nodes[i]);
        }
        for (QTreeWidgetItem* branch : std::as_const(branches))
            branch->setExpanded(!collapsed.contains(branch->data(0, name_role).toString()));
        syncing_ = false;
    }
    show_host_selection(false);
}

void outliner::on_host_selection(void* self)
{
    static_cast<outliner*>(self)->show_host_selection(true);
}

void outliner::show_host_selection(bool scroll)
{
    if (syncing_)
        return;
    const QStringList selected = sandbox::host::instance().selection();
    QItemSelection rows;
    QTreeWidgetItem* first = nullptr;
    for (QTreeWidgetItemIterator it(this); *it; ++it) {
        if ((*it)->data(0, branch_role).toBool() || !selected.contains((*it)->data(0, name_role).toString()))
            continue;
        QModelIndex index = indexFromItem(*it);
        rows.select(index, index);
        if (!first)
            first = *it;
    }
    syncing_ = true;
    selectionModel()->select(rows, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    syncing_ = false;
    if (scroll && first)
        scrollToItem(first);
}

void outliner::push_selection()
{
    if (syncing_)
        return;
    auto& host = sandbox::host::instance();
    QStringList chosen;
    for (QTreeWidgetItem* item : selectedItems()) {
        QString name = item->data(0, name_role).toString();
        if (host.node_exists(name)) // the tree may trail a scene change
            chosen << name;
    }
    // Keep the order of what was already selected; newly picked items follow.
    QStringList ordered;
    for (const QString& item : host.selection())
        if (chosen.contains(item))
            ordered << item;
    for (const QString& item : std::as_const(chosen))
        if (!ordered.contains(item))
            ordered << item;
    syncing_ = true;
    host.set_selection(ordered, sandbox::adjustment::replace);
    syncing_ = false;
    // A selection callback may have changed the selection further.
    show_host_selection(false);
}
