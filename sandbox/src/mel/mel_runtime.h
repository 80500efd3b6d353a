// The executing side of the interpreter: variables, frames and the tree walker.
#pragma once

#include "mel_ast.h"
#include "mel_text.h"

#include <QRegularExpression>

#include <cstdint>
#include <memory>
#include <vector>

namespace mel::detail {

// A variable keeps its payload unwrapped so that appending to a string or
// writing an array element happens in place (amortised O(1)) instead of
// copying a whole value.
struct variable {
    explicit variable(value::kind k) : type(k) {}
    const value::kind type;
    int i = 0;
    double f = 0.0;
    QString s;
    QStringList strings;
    QVector<int> ints;
    QVector<double> floats;

    value get() const;
    void set(const value& v); // v already has this variable's type
    int size() const;
    value at(int index) const; // default value when out of range
    void put(int index, const value& v); // v has the element type; grows the array
    void resize(int n);
};
using var_ptr = std::shared_ptr<variable>;

struct scope {
    std::vector<std::pair<QString, var_ptr>> vars;
    var_ptr find(const QString& name) const;
    void bind(const QString& name, var_ptr v);
};

enum class flow { normal, broke, continued, returned };

// One activation: an eval's top level or a proc call. Frames live on the C++
// stack of whoever runs them; nothing about "the current statement" is shared,
// so a command may run eval re-entrantly at any point.
struct frame {
    frame(bool top, std::shared_ptr<const ast::program> p, const ast::proc_def* d)
        : top_level(top), prog(std::move(p)), proc(d) {}
    const bool top_level; // falls back to session variables and globals
    std::shared_ptr<const ast::program> prog;
    const ast::proc_def* proc;
    std::vector<scope> scopes;
    value ret;
};

// Unwinds to the nearest catch or eval after the error has been reported.
struct script_abort {};

struct proc_entry {
    std::shared_ptr<const ast::program> prog;
    const ast::proc_def* def = nullptr;
};

class runtime;

struct call_context {
    runtime& rt;
    frame& f;
    const ast::call_expr& call;
    QVector<value> args;
    std::vector<var_ptr> refs; // the variable behind each plain "$name" argument

    [[noreturn]] void fail(const QString& message) const;
    QString text(int i) const;      // scalar argument as a string
    int integer(int i) const;
    QStringList strings(int i) const; // array argument
    var_ptr array_ref(int i) const; // plain array variable argument, for by-reference built-ins
};

struct builtin {
    value (*fn)(call_context&) = nullptr;
    int min_args = 0;
    int max_args = 0;
};

// MEL call depth; a separate native stack check backs it up, so neither a
// deep proc body nor a command that re-enters eval can overflow the stack.
constexpr int max_call_depth = 1000;
constexpr int max_array_size = 50'000'000;

class runtime {
public:
    explicit runtime(interpreter& self);

    interpreter& self;
    QHash<QString, command_fn> commands;
    QHash<QString, builtin> builtins;
    QHash<QString, proc_entry> procs;
    QHash<QString, var_ptr> globals;
    QHash<QString, var_ptr> session;
    std::vector<frame*> frames;
    int quiet = 0; // catchQuiet silences errors while > 0
    std::uintptr_t stack_floor = 0;
    QHash<QString, QRegularExpression> regex_cache;

    bool eval_text(const QString& source, value* result);
    value run(const QString& source);               // errors propagate as script_abort
    value run_nested(const QString& source, int line); // the eval built-in

    [[noreturn]] void fail(int line, const QString& message);
    void report_error(const QString& text);
    void warn(int line, const QString& message);
    void print(const QString& text);
    bool exists(const QString& name, const frame& f) const;
    QRegularExpression regex(const QString& pattern, int line);

private:
    bool stack_exhausted() const;
    void check_depth(int line);

    flow exec(const ast::stmt& s, frame& f);
    flow exec_block(const std::vector<ast::stmt_ptr>& body, frame& f);
    void declare(const ast::declaration_stmt& d, frame& f);
    flow exec_for_in(const ast::for_in_stmt& s, frame& f);
    flow exec_switch(const ast::switch_stmt_t& s, frame& f);

    value eval(const ast::expr& e, frame& f);
    value eval_chain(const ast::chain_expr& c, frame& f);
    value eval_assign(const ast::assign_expr& a, frame& f);
    bool try_append(const ast::assign_expr& a, frame& f, value* out);
    value eval_incdec(const ast::incdec_expr& e, frame& f);
    value eval_array_literal(const ast::array_literal_expr& a, frame& f);
    value call(const ast::call_expr& c, frame& f);
    value call_proc(const proc_entry& p, const ast::call_expr& c, frame& caller);
    value call_command(const command_fn& fn, const ast::call_expr& c, frame& f);
    value call_catch(const ast::call_expr& c, frame& f, bool quietly);

    var_ptr lookup(const frame& f, const QString& name) const;
    var_ptr require(const frame& f, const ast::variable_expr& v);
    void bind(frame& f, const QString& name, const var_ptr& v);
    scope* innermost(frame& f);
    int index_of(const ast::variable_expr& v, frame& f);
    proc_entry find_proc(const QString& name, const frame& f) const;

    value convert(const value& v, value::kind to, int line);
    bool truth(const value& v, int line);
    value binary(ast::op o, const value& a, const value& b, int line);
    value unary(ast::op o, const value& v, int line);
};

void register_builtins(runtime& rt);

} // namespace mel::detail
