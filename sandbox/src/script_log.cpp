#include "script_log.h"

namespace sandbox {

QString log_entry::formatted() const
{
    switch (kind) {
    case log_kind::print:
    case log_kind::info:
    case log_kind::echo:
        return text;
    case log_kind::warning:
        return "// Warning: " + text;
    case log_kind::error:
        return "// Error: " + text;
    case log_kind::result:
        return "// Result: " + text + " //";
    case log_kind::python:
        return "# python: " + text;
    }
    return text;
}

const log_entry* script_log::append(log_kind kind, const QString& text)
{
    if (kind == log_kind::error) {
        ++errors_reported_;
        if (capture_) {
            capture_->append(text);
            return nullptr;
        }
        ++errors_;
    }
    entries_.append({kind, text});
    return &entries_.last();
}

QString script_log::text() const
{
    QStringList lines;
    for (const log_entry& e : entries_)
        lines << e.formatted();
    return lines.join('\n');
}

void script_log::clear()
{
    entries_.clear();
    errors_ = 0;
}

QStringList* script_log::set_capture(QStringList* capture)
{
    QStringList* previous = capture_;
    capture_ = capture;
    return previous;
}

} // namespace sandbox
