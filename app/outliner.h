// The scene's nodes grouped by namespace. Its selection is the host's active
// selection, in both directions.
#pragma once

#include <QTreeWidget>

#include <cstdint>

class outliner : public QTreeWidget {
    Q_OBJECT
public:
    explicit outliner(QWidget* parent = nullptr);
    ~outliner() override;

    // Rebuilds the tree when the nodes or namespaces changed, keeping which
    // branches are collapsed, then shows the host's selection.
    void refresh();

private:
    static void on_host_selection(void* self);
    void show_host_selection(bool scroll);
    void push_selection();

    std::uintptr_t callback_ = 0;
    QString built_from_;  // the scene content the tree shows
    bool syncing_ = false; // set while either side is following the other
};
