// The script output, coloured by kind, over MEL and Python inputs, each
// with its own history.
#pragma once

#include <QPlainTextEdit>
#include <QStringList>

namespace sandbox {
struct log_entry;
}

// Ctrl+Return (or keypad Enter) runs the text, or only its selected part;
// Up on the first line and Down on the last walk the history.
class script_input : public QPlainTextEdit {
    Q_OBJECT
public:
    explicit script_input(const QString& language, QWidget* parent = nullptr);

signals:
    void run_requested(const QString& text);

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    void run();
    void recall(int position);

    QStringList history_;
    int position_ = 0; // == history_.size() while editing a new text
    QString draft_;    // the new text, kept while browsing the history
};

class script_editor : public QWidget {
    Q_OBJECT
public:
    explicit script_editor(QWidget* parent = nullptr);

    void append(const sandbox::log_entry& entry);
    script_input* input() const { return input_; }
    script_input* python_input() const { return python_input_; }

private:
    QPlainTextEdit* output_;
    script_input* input_;
    script_input* python_input_;
    bool empty_ = true; // an empty first entry leaves the document looking empty
};
