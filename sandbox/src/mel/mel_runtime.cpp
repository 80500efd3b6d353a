#include "mel_runtime.h"
#include "mel_parser.h"

#include <cmath>

namespace mel::detail {

using namespace ast;

// --- variables ------------------------------------------------------------

value variable::get() const
{
    switch (type) {
    case value::integer: return value::from_int(i);
    case value::number: return value::from_float(f);
    case value::string: return value::from_string(s);
    case value::int_array: return value::from_ints(ints);
    case value::float_array: return value::from_floats(floats);
    case value::string_array: return value::from_strings(strings);
    case value::none: break;
    }
    return value();
}

void variable::set(const value& v)
{
    switch (type) {
    case value::integer: i = v.to_int(); break;
    case value::number: f = v.to_float(); break;
    case value::string: s = v.to_string(); break;
    case value::int_array: ints = v.to_ints(); break;
    case value::float_array: floats = v.to_floats(); break;
    case value::string_array: strings = v.to_strings(); break;
    case value::none: break;
    }
}

int variable::size() const
{
    switch (type) {
    case value::int_array: return ints.size();
    case value::float_array: return floats.size();
    case value::string_array: return strings.size();
    default: return 0;
    }
}

value variable::at(int index) const
{
    const bool in = index >= 0 && index < size();
    switch (type) {
    case value::int_array: return value::from_int(in ? ints[index] : 0);
    case value::float_array: return value::from_float(in ? floats[index] : 0.0);
    case value::string_array: return value::from_string(in ? strings[index] : QString());
    default: return value();
    }
}

void variable::put(int index, const value& v)
{
    if (index >= size())
        resize(index + 1);
    switch (type) {
    case value::int_array: ints[index] = v.to_int(); break;
    case value::float_array: floats[index] = v.to_float(); break;
    case value::string_array: strings[index] = v.to_string(); break;
    default: break;
    }
}

void variable::resize(int n)
{
    switch (type) {
    case value::int_array: ints.resize(n); break;
    case value::float_array: floats.resize(n); break;
    case value::string_array:
        if (strings.size() > n)
            strings.erase(strings.begin() + n, strings.end());
        while (strings.size() < n)
            strings.append(QString());
        break;
    default: break;
    }
}

var_ptr scope::find(const QString& name) const
{
    for (const auto& v : vars)
        if (v.first == name)
            return v.second;
    return nullptr;
}

void scope::bind(const QString& name, var_ptr v)
{
    for (auto& e : vars) {
        if (e.first == name) {
            e.second = std::move(v);
            return;
        }
    }
    vars.emplace_back(name, std::move(v));
}

namespace {

struct frame_push {
    frame_push(std::vector<frame*>& stack, frame* f) : stack_(stack) { stack_.push_back(f); }
    ~frame_push() { stack_.pop_back(); }
    std::vector<frame*>& stack_;
};

struct scope_push {
    explicit scope_push(frame& f) : f_(f) { f_.scopes.emplace_back(); }
    ~scope_push() { f_.scopes.pop_back(); }
    frame& f_;
};

QString undeclared(const QString& name)
{
    return QStringLiteral("\"%1\" is an undeclared variable.").arg(name);
}

QString cannot_convert(value::kind from, value::kind to)
{
    return QStringLiteral("Cannot convert data of type %1 to type %2.").arg(type_name(from), type_name(to));
}

bool numeric(value::kind k) { return k == value::integer || k == value::number; }

// A string operand of arithmetic counts as the number it starts with.
value as_number(const value& v)
{
    if (v.type() != value::string)
        return v;
    bool is_float = false;
    const double d = leading_number(v.to_string(), &is_float);
    return is_float ? value::from_float(d) : value::from_int(to_int32(d));
}

value element(const value& array, int i)
{
    switch (array.type()) {
    case value::int_array: return value::from_int(array.to_ints().value(i));
    case value::float_array: return value::from_float(array.to_floats().value(i));
    case value::string_array: return value::from_string(array.to_strings().value(i));
    default: return array;
    }
}

int array_size(const value& v)
{
    switch (v.type()) {
    case value::int_array: return v.to_ints().size();
    case value::float_array: return v.to_floats().size();
    case value::string_array: return v.to_strings().size();
    default: return 0;
    }
}

op compound_op(op o)
{
    switch (o) {
    case op::add_assign: return op::add;
    case op::sub_assign: return op::sub;
    case op::mul_assign: return op::mul;
    case op::div_assign: return op::div;
    default: return o;
    }
}

} // namespace

// --- running text -----------------------------------------------------------

runtime::runtime(interpreter& owner) : self(owner)
{
    register_builtins(*this);
}

void runtime::report_error(const QString& text)
{
    if (quiet > 0 || !self.on_error)
        return;
    const auto sink = self.on_error; // the callback may replace itself
    sink(text);
}

void runtime::fail(int line, const QString& message)
{
    report_error(QStringLiteral("line ") + QString::number(line) + QStringLiteral(": ") + message);
    throw script_abort{};
}

void runtime::warn(int line, const QString& message)
{
    if (!self.on_warning)
        return;
    const auto sink = self.on_warning;
    sink(QStringLiteral("line ") + QString::number(line) + QStringLiteral(": ") + message);
}

void runtime::print(const QString& text)
{
    if (!self.on_print)
        return;
    const auto sink = self.on_print;
    sink(text);
}

bool runtime::stack_exhausted() const
{
    char probe = 0;
    return reinterpret_cast<std::uintptr_t>(&probe) < stack_floor;
}

void runtime::check_depth(int line)
{
    if (frames.size() >= static_cast<size_t>(max_call_depth) || stack_exhausted())
        fail(line, QStringLiteral("Maximum recursion depth exceeded."));
}

value runtime::run(const QString& source)
{
    std::shared_ptr<const program> prog;
    try {
        // A procedure's calls bind to what exists now, as Maya binds them
        // when it reads the procedure; top-level calls look up when they run.
        prog = parse(source, stack_floor, [this](const QString& name) {
            return procs.contains(name) || commands.contains(name) || builtins.contains(name)
                || name == QLatin1String("catch") || name == QLatin1String("catchQuiet");
        });
    } catch (const syntax_error& e) {
        report_error(QStringLiteral("line ") + QString::number(e.line) + QStringLiteral(": Syntax error: ")
                     + e.message);
        throw script_abort{};
    } catch (const parse_stack_exhausted& e) {
        fail(e.line, QStringLiteral("Maximum recursion depth exceeded."));
    }
    // Every proc of a text exists before its first statement runs.
    for (const auto& def : prog->procs)
        if (def->global)
            procs.insert(def->name, proc_entry{prog, def.get()});

    frame f(true, prog, nullptr);
    frame_push push(frames, &f);
    value last;
    for (const auto& s : prog->statements) {
        if (s->kind == stmt::expression) {
            value v = eval(*static_cast<const expression_stmt&>(*s).e, f);
            if (!v.is_none())
                last = std::move(v);
        } else if (exec(*s, f) == flow::returned) {
            break;
        }
    }
    return last;
}

value runtime::run_nested(const QString& source, int line)
{
    check_depth(line);
    return run(source);
}

bool runtime::exists(const QString& name, const frame& f) const
{
    return find_proc(name, f).def || commands.contains(name) || builtins.contains(name)
        || name == QLatin1String("catch") || name == QLatin1String("catchQuiet");
}

QRegularExpression runtime::regex(const QString& pattern, int line)
{
    auto it = regex_cache.constFind(pattern);
    if (it != regex_cache.constEnd())
        return *it;
    QRegularExpression rx(pattern);
    if (!rx.isValid())
        fail(line, QStringLiteral("Invalid regular expression \"%1\": %2.").arg(pattern, rx.errorString()));
    if (regex_cache.size() > 200)
        regex_cache.clear();
    regex_cache.insert(pattern, rx);
    return rx;
}

// --- statements -------------------------------------------------------------

flow runtime::exec_block(const std::vector<stmt_ptr>& body, frame& f)
{
    scope_push push(f);
    for (const auto& s : body) {
        const flow fl = exec(*s, f);
        if (fl != flow::normal)
            return fl;
    }
    return flow::normal;
}

flow runtime::exec(const stmt& s, frame& f)
{
    if (stack_exhausted())
        fail(s.line, QStringLiteral("Maximum recursion depth exceeded."));
    switch (s.kind) {
    case stmt::empty:
        return flow::normal;
    case stmt::expression:
        eval(*static_cast<const expression_stmt&>(s).e, f);
        return flow::normal;
    case stmt::declaration:
        declare(static_cast<const declaration_stmt&>(s), f);
        return flow::normal;
    case stmt::block:
        return exec_block(static_cast<const block_stmt&>(s).body, f);
    case stmt::if_else: {
        const auto& i = static_cast<const if_stmt&>(s);
        for (size_t k = 0; k < i.conditions.size(); ++k)
            if (truth(eval(*i.conditions[k], f), i.conditions[k]->line))
                return exec(*i.bodies[k], f);
        return i.otherwise ? exec(*i.otherwise, f) : flow::normal;
    }
    case stmt::while_loop: {
        const auto& w = static_cast<const while_stmt&>(s);
        while (truth(eval(*w.condition, f), w.condition->line)) {
            const flow fl = exec(*w.body, f);
            if (fl == flow::broke)
                break;
            if (fl == flow::returned)
                return fl;
        }
        return flow::normal;
    }
    case stmt::do_while: {
        const auto& w = static_cast<const while_stmt&>(s);
        do {
            const flow fl = exec(*w.body, f);
            if (fl == flow::broke)
                break;
            if (fl == flow::returned)
                return fl;
        } while (truth(eval(*w.condition, f), w.condition->line));
        return flow::normal;
    }
    case stmt::for_loop: {
        const auto& l = static_cast<const for_stmt&>(s);
        for (const auto& e : l.init)
            eval(*e, f);
        while (!l.condition || truth(eval(*l.condition, f), l.condition->line)) {
            const flow fl = exec(*l.body, f);
            if (fl == flow::broke)
                break;
            if (fl == flow::returned)
                return fl;
            for (const auto& e : l.step)
                eval(*e, f);
        }
        return flow::normal;
    }
    case stmt::for_in:
        return exec_for_in(static_cast<const for_in_stmt&>(s), f);
    case stmt::break_stmt:
        return flow::broke;
    case stmt::continue_stmt:
        return flow::continued;
    case stmt::return_stmt: {
        const auto& r = static_cast<const return_stmt_t&>(s);
        if (r.result) {
            value v = eval(*r.result, f);
            if (f.proc && f.proc->ret != value::none)
                f.ret = convert(v, f.proc->ret, r.line);
        }
        return flow::returned;
    }
    case stmt::switch_stmt:
        return exec_switch(static_cast<const switch_stmt_t&>(s), f);
    }
    return flow::normal;
}

scope* runtime::innermost(frame& f)
{
    return f.scopes.empty() ? nullptr : &f.scopes.back();
}

void runtime::bind(frame& f, const QString& name, const var_ptr& v)
{
    if (scope* sc = innermost(f))
        sc->bind(name, v);
    else
        session.insert(name, v);
}

void runtime::declare(const declaration_stmt& d, frame& f)
{
    for (const declarator& dv : d.vars) {
        const value::kind k = dv.is_array ? array_kind(d.type) : d.type;
        int size = 0;
        if (dv.size) {
            size = eval(*dv.size, f).to_int();
            if (size < 0 || size > max_array_size)
                fail(dv.line, QStringLiteral("Invalid array size %1.").arg(size));
        }
        value init;
        if (dv.init)
            init = convert(eval(*dv.init, f), k, dv.line);

        var_ptr v;
        if (d.global) {
            v = globals.value(dv.name);
            if (!v) {
                v = std::make_shared<variable>(k);
                globals.insert(dv.name, v);
            }
        } else {
            const scope* sc = innermost(f);
            v = sc ? sc->find(dv.name) : session.value(dv.name);
            if (!v)
                v = std::make_shared<variable>(k);
        }
        // Declaring again with the same type keeps the value, as Maya does
        // for globals and for the script editor's top level.
        if (v->type != k)
            fail(dv.line, QStringLiteral("Invalid redeclaration of variable \"%1\" as a different type.").arg(dv.name));
        if (dv.size && v->size() < size)
            v->resize(size);
        if (dv.init)
            v->set(init);
        bind(f, dv.name, v);
    }
}

flow runtime::exec_for_in(const for_in_stmt& s, frame& f)
{
    const value items = eval(*s.array, f);
    if (!items.is_array())
        fail(s.array->line, cannot_convert(items.type(), array_kind(items.type())));
    var_ptr v = lookup(f, s.var);
    if (!v) {
        v = std::make_shared<variable>(element_kind(items.type()));
        bind(f, s.var, v);
    }
    if (is_array_kind(v->type))
        fail(s.line, QStringLiteral("\"%1\" is an array; a for-in loop needs a scalar variable.").arg(s.var));
    const int n = array_size(items);
    for (int k = 0; k < n; ++k) {
        v->set(convert(element(items, k), v->type, s.line));
        const flow fl = exec(*s.body, f);
        if (fl == flow::broke)
            break;
        if (fl == flow::returned)
            return fl;
    }
    return flow::normal;
}

flow runtime::exec_switch(const switch_stmt_t& s, frame& f)
{
    const value subject = eval(*s.subject, f);
    const switch_stmt_t::label* chosen = nullptr;
    const switch_stmt_t::label* fallback = nullptr;
    for (const auto& l : s.labels) {
        if (!l.match) {
            fallback = &l;
            continue;
        }
        if (truth(binary(op::eq, subject, eval(*l.match, f), l.match->line), l.match->line)) {
            chosen = &l;
            break;
        }
    }
    if (!chosen)
        chosen = fallback;
    if (!chosen)
        return flow::normal;
    for (size_t k = chosen->at; k < s.body.size(); ++k) {
        const flow fl = exec(*s.body[k], f);
        if (fl == flow::broke)
            return flow::normal;
        if (fl != flow::normal)
            return fl;
    }
    return flow::normal;
}

// --- expressions ------------------------------------------------------------

var_ptr runtime::lookup(const frame& f, const QString& name) const
{
    for (auto it = f.scopes.rbegin(); it != f.scopes.rend(); ++it)
        if (var_ptr v = it->find(name))
            return v;
    if (f.top_level) {
        auto s = session.constFind(name);
        if (s != session.constEnd())
            return *s;
        auto g = globals.constFind(name);
        if (g != globals.constEnd())
            return *g;
    }
    return nullptr;
}

var_ptr runtime::require(const frame& f, const variable_expr& v)
{
    var_ptr p = lookup(f, v.name);
    if (!p)
        fail(v.line, undeclared(v.name));
    return p;
}

int runtime::index_of(const variable_expr& v, frame& f)
{
    const value i = eval(*v.index, f);
    if (i.is_array())
        fail(v.index->line, cannot_convert(i.type(), value::integer));
    return i.to_int();
}

value runtime::eval(const expr& e, frame& f)
{
    // Besides the call depth limit, every step checks the native stack: how
    // much a level costs depends on the text and on the build.
    if (stack_exhausted())
        fail(e.line, QStringLiteral("Maximum recursion depth exceeded."));
    switch (e.kind) {
    case expr::literal:
        return static_cast<const literal_expr&>(e).v;
    case expr::variable: {
        const auto& v = static_cast<const variable_expr&>(e);
        var_ptr p = require(f, v);
        if (!v.index)
            return p->get();
        if (!is_array_kind(p->type))
            fail(e.line, QStringLiteral("\"%1\" is not an array.").arg(v.name));
        return p->at(index_of(v, f));
    }
    case expr::array_literal:
        return eval_array_literal(static_cast<const array_literal_expr&>(e), f);
    case expr::unary: {
        const auto& u = static_cast<const unary_expr&>(e);
        return unary(u.o, eval(*u.operand, f), e.line);
    }
    case expr::chain:
        return eval_chain(static_cast<const chain_expr&>(e), f);
    case expr::ternary: {
        const auto& t = static_cast<const ternary_expr&>(e);
        return truth(eval(*t.condition, f), e.line) ? eval(*t.yes, f) : eval(*t.no, f);
    }
    case expr::assign:
        return eval_assign(static_cast<const assign_expr&>(e), f);
    case expr::incdec:
        return eval_incdec(static_cast<const incdec_expr&>(e), f);
    case expr::call:
        return call(static_cast<const call_expr&>(e), f);
    case expr::cast: {
        const auto& c = static_cast<const cast_expr&>(e);
        const value v = eval(*c.operand, f);
        return convert(v.is_none() ? default_value(c.to) : v, c.to, e.line);
    }
    }
    return value();
}

value runtime::eval_array_literal(const array_literal_expr& a, frame& f)
{
    std::vector<value> items;
    items.reserve(a.items.size());
    value::kind k = value::integer;
    for (const auto& i : a.items) {
        value v = eval(*i, f);
        if (v.is_array() || v.is_none())
            fail(i->line, QStringLiteral("An array element cannot be of type %1.").arg(type_name(v.type())));
        if (v.type() == value::string)
            k = value::string;
        else if (v.type() == value::number && k == value::integer)
            k = value::number;
        items.push_back(std::move(v));
    }
    if (items.empty())
        return value::from_strings({});
    switch (k) {
    case value::string: {
        QStringList out;
        out.reserve(int(items.size()));
        for (const value& v : items)
            out.append(v.to_string());
        return value::from_strings(out);
    }
    case value::number: {
        QVector<double> out;
        out.reserve(int(items.size()));
        for (const value& v : items)
            out.append(v.to_float());
        return value::from_floats(out);
    }
    default: {
        QVector<int> out;
        out.reserve(int(items.size()));
        for (const value& v : items)
            out.append(v.to_int());
        return value::from_ints(out);
    }
    }
}

value runtime::eval_chain(const chain_expr& c, frame& f)
{
    value acc = eval(*c.operands[0], f);
    for (size_t k = 0; k < c.ops.size(); ++k) {
        const op o = c.ops[k];
        const expr& next = *c.operands[k + 1];
        if (o == op::logical_and || o == op::logical_or) {
            // One chain holds one level, so all its operators are the same one.
            const bool t = truth(acc, c.line);
            if (o == op::logical_and && !t)
                return value::from_int(0);
            if (o == op::logical_or && t)
                return value::from_int(1);
            acc = value::from_int(truth(eval(next, f), next.line) ? 1 : 0);
            continue;
        }
        acc = binary(o, acc, eval(next, f), next.line);
    }
    return acc;
}

bool runtime::try_append(const assign_expr& a, frame& f, value* out)
{
    // "$s += x" and "$s = $s + x + ..." grow a string variable in place, so
    // text built in a loop costs linear time rather than quadratic.
    const std::vector<expr_ptr>* operands = nullptr;
    size_t first = 0;
    if (a.o == op::add_assign) {
        first = 0;
    } else if (a.o == op::assign && a.rhs->kind == expr::chain) {
        const auto& c = static_cast<const chain_expr&>(*a.rhs);
        for (op o : c.ops)
            if (o != op::add)
                return false;
        const expr& head = *c.operands[0];
        if (head.kind != expr::variable)
            return false;
        const auto& hv = static_cast<const variable_expr&>(head);
        if (hv.index || hv.name != a.target->name)
            return false;
        operands = &c.operands;
        first = 1;
    } else {
        return false;
    }
    var_ptr v = lookup(f, a.target->name);
    if (!v || v->type != value::string)
        return false;

    QString before = v->s; // the left operand is read first, as MEL does
    QString tail;
    auto add = [&](const expr& e) {
        const value x = eval(e, f);
        if (x.is_array() || x.is_none())
            fail(e.line, QStringLiteral("Illegal operation \"+\" on data of type %1.").arg(type_name(x.type())));
        tail += x.to_string();
    };
    if (operands) {
        for (size_t k = first; k < operands->size(); ++k)
            add(*(*operands)[k]);
    } else {
        add(*a.rhs);
    }
    if (v->s.constData() == before.constData() && v->s.size() == before.size()) {
        before = QString(); // drop the extra reference so the append does not copy
        v->s += tail;
    } else {
        v->s = before + tail;
    }
    *out = value::from_string(v->s);
    return true;
}

value runtime::eval_assign(const assign_expr& a, frame& f)
{
    const variable_expr& t = *a.target;
    if (t.index) {
        var_ptr v = require(f, t);
        if (!is_array_kind(v->type))
            fail(t.line, QStringLiteral("\"%1\" is not an array.").arg(t.name));
        const int i = index_of(t, f);
        value r = eval(*a.rhs, f);
        if (a.o != op::assign)
            r = binary(compound_op(a.o), v->at(i), r, a.line);
        const value::kind k = element_kind(v->type);
        if (r.is_array())
            fail(a.line, cannot_convert(r.type(), k));
        if (i < 0 || i >= max_array_size)
            fail(t.line, QStringLiteral("Array index out of bounds: %1.").arg(i));
        r = convert(r, k, a.line);
        v->put(i, r);
        return r;
    }
    value r;
    if (try_append(a, f, &r))
        return r;
    r = eval(*a.rhs, f);
    var_ptr v = lookup(f, t.name);
    if (!v) {
        if (a.o != op::assign)
            fail(t.line, undeclared(t.name));
        v = std::make_shared<variable>(r.is_none() ? value::string : r.type());
        bind(f, t.name, v);
    } else if (a.o != op::assign) {
        r = binary(compound_op(a.o), v->get(), r, a.line);
    }
    v->set(convert(r, v->type, a.line));
    return v->get();
}

value runtime::eval_incdec(const incdec_expr& e, frame& f)
{
    const variable_expr& t = *e.target;
    var_ptr v = require(f, t);
    int i = -1;
    if (t.index) {
        if (!is_array_kind(v->type))
            fail(t.line, QStringLiteral("\"%1\" is not an array.").arg(t.name));
        i = index_of(t, f);
        if (i < 0 || i >= max_array_size)
            fail(t.line, QStringLiteral("Array index out of bounds: %1.").arg(i));
    }
    const value old = t.index ? v->at(i) : v->get();
    if (!numeric(old.type()))
        fail(e.line, QStringLiteral("Illegal operation \"%1\" on data of type %2.")
                         .arg(QLatin1String(op_text(e.o)), type_name(old.type())));
    const value now = binary(e.o == op::increment ? op::add : op::sub, old, value::from_int(1), e.line);
    if (t.index)
        v->put(i, now);
    else
        v->set(now);
    return e.prefix ? now : old;
}

// --- operators --------------------------------------------------------------

value runtime::convert(const value& v, value::kind to, int line)
{
    if (v.type() == to || to == value::none)
        return v;
    if (v.is_none())
        return default_value(to);
    if (v.is_array() != is_array_kind(to))
        fail(line, cannot_convert(v.type(), to));
    switch (to) {
    case value::integer: return value::from_int(v.to_int());
    case value::number: return value::from_float(v.to_float());
    case value::string: return value::from_string(v.to_string());
    case value::int_array: return value::from_ints(v.to_ints());
    case value::float_array: return value::from_floats(v.to_floats());
    case value::string_array: return value::from_strings(v.to_strings());
    case value::none: break;
    }
    return v;
}

bool runtime::truth(const value& v, int line)
{
    switch (v.type()) {
    case value::none: return false;
    case value::integer: return v.to_int() != 0;
    case value::number: return v.to_float() != 0.0;
    case value::string: return as_number(v).to_float() != 0.0;
    default: fail(line, cannot_convert(v.type(), value::integer));
    }
}

value runtime::unary(op o, const value& v, int line)
{
    if (o == op::logical_not)
        return value::from_int(truth(v, line) ? 0 : 1);
    if (v.is_array() || v.is_none())
        fail(line, QStringLiteral("Illegal operation \"%1\" on data of type %2.")
                       .arg(QLatin1String(op_text(o)), type_name(v.type())));
    const value n = as_number(v);
    if (o == op::plus)
        return n;
    if (n.type() == value::integer)
        return value::from_int(wrap_int32(-qint64(n.to_int())));
    return value::from_float(-n.to_float());
}

value runtime::binary(op o, const value& a, const value& b, int line)
{
    for (const value* v : {&a, &b})
        if (v->is_array() || v->is_none())
            fail(line, QStringLiteral("Illegal operation \"%1\" on data of type %2.")
                           .arg(QLatin1String(op_text(o)), type_name(v->type())));
    const bool any_string = a.type() == value::string || b.type() == value::string;
    if (o == op::add && any_string)
        return value::from_string(a.to_string() + b.to_string());
    if ((o == op::eq || o == op::ne) && any_string)
        return value::from_int((a.to_string() == b.to_string()) == (o == op::eq) ? 1 : 0);
    if (o == op::lt || o == op::le || o == op::gt || o == op::ge) {
        int cmp;
        if (a.type() == value::string && b.type() == value::string) {
            cmp = a.to_string().compare(b.to_string());
        } else {
            const double x = as_number(a).to_float();
            const double y = as_number(b).to_float();
            cmp = x < y ? -1 : x > y ? 1 : 0;
        }
        const bool r = o == op::lt ? cmp < 0 : o == op::le ? cmp <= 0 : o == op::gt ? cmp > 0 : cmp >= 0;
        return value::from_int(r ? 1 : 0);
    }
    const value x = as_number(a);
    const value y = as_number(b);
    if (x.type() == value::integer && y.type() == value::integer) {
        const qint64 l = x.to_int();
        const qint64 r = y.to_int();
        switch (o) {
        case op::add: return value::from_int(wrap_int32(l + r));
        case op::sub: return value::from_int(wrap_int32(l - r));
        case op::mul: return value::from_int(wrap_int32(l * r));
        case op::div:
            if (r == 0)
                fail(line, QStringLiteral("Division by zero."));
            return value::from_int(wrap_int32(l / r));
        case op::mod:
            if (r == 0)
                fail(line, QStringLiteral("Division by zero."));
            return value::from_int(wrap_int32(l % r));
        case op::eq: return value::from_int(l == r ? 1 : 0);
        case op::ne: return value::from_int(l != r ? 1 : 0);
        default: break;
        }
    } else {
        const double l = x.to_float();
        const double r = y.to_float();
        switch (o) {
        case op::add: return value::from_float(l + r);
        case op::sub: return value::from_float(l - r);
        case op::mul: return value::from_float(l * r);
        case op::div:
            if (r == 0.0)
                fail(line, QStringLiteral("Division by zero."));
            return value::from_float(l / r);
        case op::mod:
            if (r == 0.0)
                fail(line, QStringLiteral("Division by zero."));
            return value::from_float(std::fmod(l, r));
        case op::eq: return value::from_int(l == r ? 1 : 0);
        case op::ne: return value::from_int(l != r ? 1 : 0);
        default: break;
        }
    }
    fail(line, QStringLiteral("Illegal operation \"%1\".").arg(QLatin1String(op_text(o))));
}

// --- calls ------------------------------------------------------------------

proc_entry runtime::find_proc(const QString& name, const frame& f) const
{
    if (f.prog) {
        auto l = f.prog->local_procs.constFind(name);
        if (l != f.prog->local_procs.constEnd())
            return proc_entry{f.prog, *l};
    }
    return procs.value(name);
}

value runtime::call(const call_expr& c, frame& f)
{
    if (!c.bound)
        fail(c.line, QStringLiteral("Cannot find procedure \"%1\".").arg(c.name));
    const proc_entry p = find_proc(c.name, f);
    if (p.def)
        return call_proc(p, c, f);
    if (c.name == QLatin1String("catch") || c.name == QLatin1String("catchQuiet"))
        return call_catch(c, f, c.name.size() > 5);
    auto cmd = commands.constFind(c.name);
    if (cmd != commands.constEnd()) {
        const command_fn fn = *cmd; // the command may unregister itself
        return call_command(fn, c, f);
    }
    auto b = builtins.constFind(c.name);
    if (b == builtins.constEnd())
        fail(c.line, QStringLiteral("Cannot find procedure \"%1\".").arg(c.name));
    const builtin bi = *b;
    const int n = int(c.args.size());
    if (n < bi.min_args || n > bi.max_args)
        fail(c.line, QStringLiteral("Wrong number of arguments on call to %1.").arg(c.name));
    call_context ctx{*this, f, c, {}, {}};
    ctx.args.reserve(n);
    ctx.refs.resize(c.args.size());
    for (size_t k = 0; k < c.args.size(); ++k) {
        const expr& a = *c.args[k];
        ctx.args.append(eval(a, f));
        if (a.kind == expr::variable && !static_cast<const variable_expr&>(a).index)
            ctx.refs[k] = lookup(f, static_cast<const variable_expr&>(a).name);
    }
    return bi.fn(ctx);
}

value runtime::call_proc(const proc_entry& p, const call_expr& c, frame& caller)
{
    const proc_def& d = *p.def;
    if (c.args.size() != d.params.size())
        fail(c.line, QStringLiteral("Wrong number of arguments on call to %1.").arg(d.name));
    check_depth(c.line);

    frame f(false, p.prog, &d);
    f.scopes.emplace_back();
    for (size_t k = 0; k < d.params.size(); ++k) {
        const param& prm = d.params[k];
        const expr& a = *c.args[k];
        if (is_array_kind(prm.type) && a.kind == expr::variable && !static_cast<const variable_expr&>(a).index) {
            // A plain array variable is passed by reference, as in Maya.
            var_ptr v = require(caller, static_cast<const variable_expr&>(a));
            if (v->type == prm.type) {
                f.scopes.back().bind(prm.name, v);
                continue;
            }
        }
        auto v = std::make_shared<variable>(prm.type);
        v->set(convert(eval(a, caller), prm.type, a.line));
        f.scopes.back().bind(prm.name, v);
    }

    frame_push push(frames, &f);
    exec_block(d.body->body, f);
    if (d.ret == value::none)
        return value();
    return f.ret.is_none() ? default_value(d.ret) : f.ret;
}

value runtime::call_command(const command_fn& fn, const call_expr& c, frame& f)
{
    QVector<value> args;
    args.reserve(int(c.args.size()));
    for (const auto& a : c.args)
        args.append(eval(*a, f));
    // No depth check here: a command adds no MEL frame, and one that runs
    // eval is checked when that eval starts.
    if (stack_exhausted())
        fail(c.line, QStringLiteral("Maximum recursion depth exceeded."));
    try {
        return fn(self, args);
    } catch (const script_abort&) {
        throw;
    } catch (const command_failed& e) {
        if (e.message.isEmpty())
            throw script_abort{};
        fail(c.line, e.message);
    } catch (const std::bad_alloc&) {
        fail(c.line, QStringLiteral("%1: out of memory.").arg(c.name));
    } catch (const std::exception& e) {
        fail(c.line, QStringLiteral("%1: %2").arg(c.name, QString::fromLocal8Bit(e.what())));
    }
}

value runtime::call_catch(const call_expr& c, frame& f, bool quietly)
{
    if (c.args.size() != 1)
        fail(c.line, QStringLiteral("Wrong number of arguments on call to %1.").arg(c.name));
    struct hush {
        hush(int& q, bool on) : q_(q), on_(on) { q_ += on_ ? 1 : 0; }
        ~hush() { q_ -= on_ ? 1 : 0; }
        int& q_;
        bool on_;
    } h(quiet, quietly);
    try {
        eval(*c.args[0], f);
    } catch (const script_abort&) {
        return value::from_int(1);
    }
    return value::from_int(0);
}

} // namespace mel::detail
