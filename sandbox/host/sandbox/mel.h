// The MEL evaluator of the sandbox host: the part of MEL that scene files, the
// plug-in's embedded scripts and a user at the console need.
#pragma once

#include <QHash>
#include <QString>
#include <QStringList>
#include <QVector>

#include <functional>
#include <memory>

namespace mel {

class value {
public:
    enum kind { none, integer, number, string, int_array, float_array, string_array };

    value() = default;
    static value from_int(int v);
    // MEL has no booleans; this is the int 0 or 1 that remembers it came as a
    // boolean (from Python), so a plug-in command can receive it as one.
    static value from_bool(bool v);
    static value from_float(double v);
    static value from_string(const QString& v);
    static value from_strings(const QStringList& v);
    static value from_ints(const QVector<int>& v);
    static value from_floats(const QVector<double>& v);

    kind type() const { return kind_; }
    bool is_none() const { return kind_ == none; }
    bool is_array() const { return kind_ >= int_array; }
    bool is_bool() const { return boolean_; }

    // MEL's conversions: numbers print as MEL prints them, strings parse
    // leniently ("12abc" -> 12, "abc" -> 0), a scalar read as an array is a
    // one-element array and an array read as a scalar is an error at run time
    // (the interpreter reports it), so these never fail.
    int to_int() const;
    double to_float() const;
    QString to_string() const;
    QStringList to_strings() const;
    QVector<int> to_ints() const;
    QVector<double> to_floats() const;

    // How the console echoes a result: "// Result: <text> //".
    QString result_text() const;

    bool operator==(const value& other) const;

private:
    kind kind_ = none;
    int int_ = 0;
    bool boolean_ = false;
    double float_ = 0.0;
    QString string_;
    QStringList strings_;
    QVector<int> ints_;
    QVector<double> floats_;
};

// Thrown by a command to make its call fail. A non-empty message is printed as
// an error (with the line prefix); an empty one means the command has already
// said why. Either way the running statement list stops.
struct command_failed {
    QString message;
};

class interpreter;

// A command receives its arguments as written: in command syntax flags are
// strings such as "-q", bare words are strings, numbers are int or float,
// "$var", "(expr)" and back-quoted commands give their values (arrays stay
// one argument). In function syntax the arguments are the evaluated expressions.
using command_fn = std::function<value(interpreter&, const QVector<value>& args)>;

class interpreter {
public:
    interpreter();
    ~interpreter();
    interpreter(const interpreter&) = delete;
    interpreter& operator=(const interpreter&) = delete;

    // Where text goes: print's text as given, errors and warnings as their bare
    // message ("line 2: Cannot find procedure \"foo\"."); the host adds the
    // "// Error: " decoration.
    std::function<void(const QString&)> on_print;
    std::function<void(const QString&)> on_error;
    std::function<void(const QString&)> on_warning;

    // Parses the whole text first (a syntax error runs nothing), then runs it.
    // Returns false when an error stopped it. *result gets the value of the
    // last statement that produced one. Re-entrant: a command may call eval.
    bool eval(const QString& source, value* result = nullptr);

    // Runs one registered command with its arguments already evaluated, as a
    // statement would (for callers outside MEL). False when it failed; the
    // error has been reported without a line number.
    bool call(const QString& name, const QVector<value>& args, value* result = nullptr);

    void register_command(const QString& name, command_fn fn);
    void unregister_command(const QString& name);
    bool has_command(const QString& name) const;
    bool has_builtin(const QString& name) const; // MEL's own, not registered
    QStringList command_names() const;            // both kinds, sorted
    bool has_procedure(const QString& name) const;

    // Forgets global procedures and variables (a new MEL session).
    void reset();

private:
    struct impl;
    std::unique_ptr<impl> d;
};

} // namespace mel
