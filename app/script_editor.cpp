#include "script_editor.h"

#include <sandbox/host.h>

#include <QKeyEvent>
#include <QScrollBar>
#include <QSplitter>
#include <QTabWidget>
#include <QTextDocumentFragment>
#include <QVBoxLayout>

namespace {

QFont code_font()
{
    // The platform's fixed font is not known without a desktop theme.
    QFont font("monospace");
    font.setStyleHint(QFont::TypeWriter);
    return font;
}

} // namespace

script_input::script_input(const QString& language, QWidget* parent) : QPlainTextEdit(parent)
{
    setFont(code_font());
    setPlaceholderText(language + " - Ctrl+Return runs it (or the selected part), Up/Down recall");
    setTabChangesFocus(false);
}

void script_input::keyPressEvent(QKeyEvent* event)
{
    const bool enter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (enter && ((event->modifiers() & Qt::ControlModifier) || (event->modifiers() & Qt::KeypadModifier))) {
        run();
        return;
    }
    const QTextCursor cursor = textCursor();
    if (event->key() == Qt::Key_Up && cursor.blockNumber() == 0 && position_ > 0) {
        recall(position_ - 1);
        return;
    }
    if (event->key() == Qt::Key_Down && cursor.blockNumber() == document()->blockCount() - 1
        && position_ < history_.size()) {
        recall(position_ + 1);
        return;
    }
    QPlainTextEdit::keyPressEvent(event);
}

void script_input::run()
{
    const QTextCursor cursor = textCursor();
    if (cursor.hasSelection()) {
        // Running a part keeps the script being worked on.
        emit run_requested(cursor.selection().toPlainText());
        return;
    }
    const QString text = toPlainText();
    if (text.trimmed().isEmpty())
        return;
    if (history_.isEmpty() || history_.last() != text)
        history_ << text;
    position_ = history_.size();
    draft_.clear();
    clear();
    emit run_requested(text);
}

void script_input::recall(int position)
{
    if (position_ == history_.size())
        draft_ = toPlainText();
    position_ = position;
    setPlainText(position_ < history_.size() ? history_[position_] : draft_);
    moveCursor(QTextCursor::End);
}

script_editor::script_editor(QWidget* parent) : QWidget(parent)
{
    output_ = new QPlainTextEdit;
    output_->setReadOnly(true);
    output_->setFont(code_font());
    output_->setMaximumBlockCount(20000);
    output_->setLineWrapMode(QPlainTextEdit::NoWrap);
    input_ = new script_input("MEL");
    python_input_ = new script_input("Python");
    python_input_->setObjectName("python_input");
    auto* inputs = new QTabWidget;
    inputs->setDocumentMode(true);
    inputs->addTab(input_, "MEL");
    inputs->addTab(python_input_, "Python");

    auto* split = new QSplitter(Qt::Vertical);
    split->addWidget(output_);
    split->addWidget(inputs);
    split->setStretchFactor(0, 3);
    split->setStretchFactor(1, 1);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(split);

    for (const sandbox::log_entry& entry : sandbox::host::instance().output())
        append(entry);
}

void script_editor::append(const sandbox::log_entry& entry)
{
    QTextCharFormat format;
    switch (entry.kind) {
    case sandbox::log_kind::error: format.setForeground(QColor(220, 50, 47)); break;
    case sandbox::log_kind::warning: format.setForeground(QColor(203, 120, 0)); break;
    case sandbox::log_kind::echo: format.setForeground(QColor(38, 139, 210)); break;
    case sandbox::log_kind::python: format.setForeground(QColor(110, 140, 40)); break;
    default: break;
    }
    QString text = entry.formatted();
    if (text.endsWith('\n'))
        text.chop(1); // each entry is a block of its own already

    QScrollBar* bar = output_->verticalScrollBar();
    const bool at_end = bar->value() == bar->maximum();
    QTextCursor cursor(output_->document());
    cursor.movePosition(QTextCursor::End);
    if (!empty_)
        cursor.insertBlock();
    empty_ = false;
    cursor.insertText(text, format);
    if (at_end)
        bar->setValue(bar->maximum());
}
