// The picker window: one tab per picker, and the bridge between the views
// and the host scene.
#pragma once

#include <QPixmap>
#include <QString>
#include <QWidget>

class picker_view;

class picker_window : public QWidget {
    Q_OBJECT

public:
    explicit picker_window(QWidget* parent = nullptr);
    ~picker_window() override;

    // ----- Scene storage: each background image lives in a file-info entry
    // of its own, keyed by the view's background key.
    void setImageData(picker_view* view);
    void removeImageData(picker_view* view);
    void fetchImageData(picker_view* view);
};
