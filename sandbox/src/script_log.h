// The script output: what MEL, Python and the API print, in order.
#pragma once

#include <sandbox/host.h>

namespace sandbox {

class script_log {
public:
    // Appends an entry; returns it, or null when a capture took the error.
    const log_entry* append(log_kind kind, const QString& text);
    const QVector<log_entry>& entries() const { return entries_; }
    QString text() const; // every entry formatted, one per line
    void clear();
    int errors() const { return errors_; }
    // Errors seen in all, captured ones too: a plug-in command compares it
    // before and after it runs to tell whether its failure said why.
    int errors_reported() const { return errors_reported_; }

    // While set, errors go to *capture instead of the output (Python turns
    // them into its exception). Returns the capture it replaces.
    QStringList* set_capture(QStringList* capture);

private:
    QVector<log_entry> entries_;
    int errors_ = 0;
    int errors_reported_ = 0;
    QStringList* capture_ = nullptr;
};

} // namespace sandbox
