#include "mel_parser.h"
#include "mel_text.h"

#include <QSet>

namespace mel::ast {

const char* op_text(op o)
{
    switch (o) {
    case op::add: case op::plus: return "+";
    case op::sub: case op::negate: return "-";
    case op::mul: return "*";
    case op::div: return "/";
    case op::mod: return "%";
    case op::lt: return "<";
    case op::le: return "<=";
    case op::gt: return ">";
    case op::ge: return ">=";
    case op::eq: return "==";
    case op::ne: return "!=";
    case op::logical_and: return "&&";
    case op::logical_or: return "||";
    case op::logical_not: return "!";
    case op::assign: return "=";
    case op::add_assign: return "+=";
    case op::sub_assign: return "-=";
    case op::mul_assign: return "*=";
    case op::div_assign: return "/=";
    case op::increment: return "++";
    case op::decrement: return "--";
    }
    return "?";
}

} // namespace mel::ast

namespace mel::detail {

namespace {

using namespace ast;

bool is_keyword(const QString& w)
{
    static const char* const words[] = {"if", "else", "while", "do", "for", "break", "continue", "return",
                                        "switch", "case", "default", "global", "proc", "int", "float",
                                        "string", "vector", "matrix"};
    for (const char* k : words)
        if (w == QLatin1String(k))
            return true;
    return false;
}

bool type_word(const QString& w, value::kind* k)
{
    if (w == QLatin1String("int"))
        *k = value::integer;
    else if (w == QLatin1String("float"))
        *k = value::number;
    else if (w == QLatin1String("string"))
        *k = value::string;
    else
        return false;
    return true;
}

class parser {
public:
    parser(const QString& source, std::uintptr_t stack_floor) : lex_(source), stack_floor_(stack_floor) {}

    std::shared_ptr<const program> run(const name_filter& known)
    {
        auto prog = std::make_shared<program>();
        advance();
        while (cur_.type != tok::end) {
            if (is_word("proc")) {
                proc_definition(*prog, false);
            } else if (is_word("global") && peek().type == tok::identifier && peek().text == QLatin1String("proc")) {
                advance();
                proc_definition(*prog, true);
            } else {
                prog->statements.push_back(statement());
            }
        }
        if (known) {
            // Procedures of this text count wherever they stand in it, so
            // forward and recursive calls bind.
            QSet<QString> here;
            for (const auto& def : prog->procs)
                here.insert(def->name);
            for (call_expr* c : proc_calls_)
                c->bound = here.contains(c->name) || known(c->name);
        }
        return prog;
    }

private:
    struct nest_guard {
        nest_guard(parser& p) : p_(p)
        {
            if (++p_.depth_ > max_nesting)
                p_.fail(p_.cur_, QStringLiteral("nesting too deep"));
            char probe = 0;
            if (reinterpret_cast<std::uintptr_t>(&probe) < p_.stack_floor_)
                throw parse_stack_exhausted{p_.cur_.line};
        }
        ~nest_guard() { --p_.depth_; }
        parser& p_;
    };

    template <class T>
    static std::unique_ptr<T> make(int line) { return std::make_unique<T>(line); }

    void advance() { cur_ = lex_.next(); }
    token peek()
    {
        const int p = lex_.pos();
        const int l = lex_.line();
        token t = lex_.next();
        lex_.seek(p, l);
        return t;
    }
    // Continues expression lexing right after t (which is not consumed again).
    void resume_after(const token& t)
    {
        lex_.seek(t.end, t.end_line);
        advance();
    }

    bool is(punct p) const { return cur_.type == tok::punct && cur_.p == p; }
    bool is_word(const char* w) const { return cur_.type == tok::identifier && cur_.text == QLatin1String(w); }
    bool at_statement_end() const { return is(punct::semicolon) || is(punct::rbrace) || cur_.type == tok::end; }

    [[noreturn]] void fail(const token& at, const QString& message) { throw syntax_error{at.line, message}; }
    [[noreturn]] void unexpected(const token& t)
    {
        if (t.type == tok::end)
            fail(t, QStringLiteral("unexpected end of text"));
        fail(t, QStringLiteral("unexpected \"%1\"").arg(lex_.excerpt(t)));
    }
    void expect(punct p, const char* text)
    {
        if (!is(p))
            fail(cur_, QStringLiteral("missing \"%1\"").arg(QLatin1String(text)));
        advance();
    }
    void end_statement()
    {
        if (is(punct::semicolon))
            advance();
        else if (!is(punct::rbrace) && cur_.type != tok::end)
            fail(cur_, QStringLiteral("missing \";\" before \"%1\"").arg(lex_.excerpt(cur_)));
    }

    // --- statements ---------------------------------------------------------
    // The recursive paths stay lean (Q_NEVER_INLINE keeps each construct's
    // locals out of the frames that recurse) so max_nesting fits the stack reserve.

    stmt_ptr statement()
    {
        nest_guard guard(*this);
        const token t = cur_;
        if (is(punct::semicolon)) {
            advance();
            return std::make_unique<stmt>(stmt::empty, t.line);
        }
        if (is(punct::lbrace))
            return block();
        if (t.type == tok::identifier) {
            const QString& w = t.text;
            if (w == QLatin1String("if"))
                return if_statement();
            if (w == QLatin1String("while"))
                return while_statement();
            if (w == QLatin1String("do"))
                return do_statement();
            if (w == QLatin1String("for"))
                return for_statement();
            if (w == QLatin1String("switch"))
                return switch_statement();
            if (w == QLatin1String("break") || w == QLatin1String("continue"))
                return jump_statement();
            if (w == QLatin1String("return"))
                return return_statement();
            if (w == QLatin1String("proc")
                || (w == QLatin1String("global") && peek().text == QLatin1String("proc")))
                fail(t, QStringLiteral("procedures can only be defined at the top level"));
            value::kind k;
            if (w == QLatin1String("global") || type_word(w, &k))
                return declaration();
            if (w == QLatin1String("vector") || w == QLatin1String("matrix"))
                fail(t, QStringLiteral("the %1 type is not supported").arg(w));
            if (is_keyword(w))
                unexpected(t);
            // A word at the start of a statement is a command unless a "(" follows it directly.
            if (lex_.peek() != QLatin1Char('(')) {
                auto s = make<expression_stmt>(t.line);
                s->e = command(t, false);
                end_statement();
                return s;
            }
        }
        auto s = make<expression_stmt>(t.line);
        s->e = expression();
        end_statement();
        return s;
    }

    std::unique_ptr<block_stmt> block()
    {
        auto b = make<block_stmt>(cur_.line);
        expect(punct::lbrace, "{");
        while (!is(punct::rbrace)) {
            if (cur_.type == tok::end)
                fail(cur_, QStringLiteral("missing \"}\""));
            b->body.push_back(statement());
        }
        advance();
        return b;
    }

    expr_ptr condition()
    {
        expect(punct::lparen, "(");
        auto e = expression();
        expect(punct::rparen, ")");
        return e;
    }

    stmt_ptr loop_body()
    {
        ++loops_;
        auto body = statement();
        --loops_;
        return body;
    }

    Q_NEVER_INLINE stmt_ptr if_statement()
    {
        auto s = make<if_stmt>(cur_.line);
        for (;;) {
            advance(); // "if"
            s->conditions.push_back(condition());
            s->bodies.push_back(statement());
            if (!is_word("else"))
                break;
            advance();
            if (!is_word("if")) {
                s->otherwise = statement();
                break;
            }
        }
        return s;
    }

    Q_NEVER_INLINE stmt_ptr while_statement()
    {
        auto s = std::make_unique<while_stmt>(stmt::while_loop, cur_.line);
        advance();
        s->condition = condition();
        s->body = loop_body();
        return s;
    }

    Q_NEVER_INLINE stmt_ptr do_statement()
    {
        auto s = std::make_unique<while_stmt>(stmt::do_while, cur_.line);
        advance();
        s->body = loop_body();
        if (!is_word("while"))
            fail(cur_, QStringLiteral("missing \"while\" after the body of \"do\""));
        advance();
        s->condition = condition();
        end_statement();
        return s;
    }

    Q_NEVER_INLINE stmt_ptr for_statement()
    {
        const int line = cur_.line;
        advance();
        expect(punct::lparen, "(");
        if (cur_.type == tok::variable) {
            const token in = peek();
            if (in.type == tok::identifier && in.text == QLatin1String("in")) {
                auto s = make<for_in_stmt>(line);
                s->var = cur_.text;
                advance();
                advance();
                s->array = expression();
                expect(punct::rparen, ")");
                s->body = loop_body();
                return s;
            }
        }
        auto s = make<for_stmt>(line);
        if (!is(punct::semicolon))
            expression_list(s->init);
        expect(punct::semicolon, ";");
        if (!is(punct::semicolon))
            s->condition = expression();
        expect(punct::semicolon, ";");
        if (!is(punct::rparen))
            expression_list(s->step);
        expect(punct::rparen, ")");
        s->body = loop_body();
        return s;
    }

    void expression_list(std::vector<expr_ptr>& out)
    {
        out.push_back(expression());
        while (is(punct::comma)) {
            advance();
            out.push_back(expression());
        }
    }

    Q_NEVER_INLINE stmt_ptr switch_statement()
    {
        auto s = make<switch_stmt_t>(cur_.line);
        advance();
        s->subject = condition();
        expect(punct::lbrace, "{");
        ++switches_;
        while (!is(punct::rbrace)) {
            if (cur_.type == tok::end)
                fail(cur_, QStringLiteral("missing \"}\""));
            if (is_word("case")) {
                advance();
                switch_stmt_t::label l;
                l.match = expression();
                l.at = s->body.size();
                expect(punct::colon, ":");
                s->labels.push_back(std::move(l));
            } else if (is_word("default")) {
                advance();
                switch_stmt_t::label l;
                l.at = s->body.size();
                expect(punct::colon, ":");
                s->labels.push_back(std::move(l));
            } else {
                s->body.push_back(statement());
            }
        }
        --switches_;
        advance();
        return s;
    }

    Q_NEVER_INLINE stmt_ptr jump_statement()
    {
        const token t = cur_;
        const bool is_break = t.text == QLatin1String("break");
        if (loops_ == 0 && (!is_break || switches_ == 0))
            fail(t, QStringLiteral("\"%1\" outside a loop").arg(t.text));
        advance();
        end_statement();
        return std::make_unique<stmt>(is_break ? stmt::break_stmt : stmt::continue_stmt, t.line);
    }

    Q_NEVER_INLINE stmt_ptr return_statement()
    {
        auto s = make<return_stmt_t>(cur_.line);
        advance();
        if (!at_statement_end()) {
            if (in_proc_ && proc_ret_ == value::none)
                fail(cur_, QStringLiteral("a procedure without a return type cannot return a value"));
            s->result = expression();
        }
        end_statement();
        return s;
    }

    Q_NEVER_INLINE stmt_ptr declaration()
    {
        auto s = make<declaration_stmt>(cur_.line);
        if (is_word("global")) {
            s->global = true;
            advance();
        }
        if (cur_.type != tok::identifier || !type_word(cur_.text, &s->type))
            fail(cur_, QStringLiteral("expected a type"));
        advance();
        for (;;) {
            if (cur_.type != tok::variable)
                fail(cur_, QStringLiteral("expected a variable name"));
            declarator d;
            d.name = cur_.text;
            d.line = cur_.line;
            advance();
            if (is(punct::lbracket)) {
                nest_guard guard(*this);
                advance();
                d.is_array = true;
                if (!is(punct::rbracket))
                    d.size = expression();
                expect(punct::rbracket, "]");
            }
            if (is(punct::assign)) {
                advance();
                d.init = expression();
            }
            s->vars.push_back(std::move(d));
            if (!is(punct::comma))
                break;
            advance();
        }
        end_statement();
        return s;
    }

    void proc_definition(program& prog, bool global)
    {
        auto def = std::make_unique<proc_def>();
        def->line = cur_.line;
        def->global = global;
        advance(); // "proc"
        value::kind k;
        if (cur_.type == tok::identifier && type_word(cur_.text, &k)) {
            def->ret = k;
            advance();
            if (is(punct::lbracket)) {
                advance();
                expect(punct::rbracket, "]");
                def->ret = array_kind(k);
            }
        }
        if (cur_.type != tok::identifier || is_keyword(cur_.text))
            fail(cur_, QStringLiteral("expected a procedure name"));
        def->name = cur_.text;
        advance();
        expect(punct::lparen, "(");
        while (!is(punct::rparen)) {
            if (!def->params.empty())
                expect(punct::comma, ",");
            param p;
            if (cur_.type != tok::identifier || !type_word(cur_.text, &p.type))
                fail(cur_, QStringLiteral("expected a parameter type"));
            advance();
            if (cur_.type != tok::variable)
                fail(cur_, QStringLiteral("expected a parameter name"));
            p.name = cur_.text;
            advance();
            if (is(punct::lbracket)) {
                advance();
                expect(punct::rbracket, "]");
                p.type = array_kind(p.type);
            }
            def->params.push_back(p);
        }
        advance();
        if (!is(punct::lbrace))
            fail(cur_, QStringLiteral("missing \"{\""));
        in_proc_ = true;
        proc_ret_ = def->ret;
        def->body = block();
        in_proc_ = false;
        if (!global)
            prog.local_procs.insert(def->name, def.get());
        prog.procs.push_back(std::move(def));
    }

    // --- command syntax -----------------------------------------------------

    // "name arg arg ..." up to ";", "}" or the end (or the closing back quote).
    // On return cur_ is the terminator, not consumed.
    Q_NEVER_INLINE std::unique_ptr<call_expr> command(const token& name, bool in_backquote)
    {
        auto c = make<call_expr>(name.line);
        c->name = name.text;
        note_call(c.get());
        int pos = name.end;
        int line = name.end_line;
        bool function_form = false;
        for (;;) {
            lex_.seek(pos, line);
            lex_.skip_space();
            if (lex_.at_end())
                break;
            const ushort ch = lex_.peek().unicode();
            if (ch == ';' || ch == '}' || (ch == '`' && in_backquote))
                break;
            if (ch == ')' || ch == '{') {
                advance();
                unexpected(cur_);
            }
            token last;
            if (ch == '`') {
                advance();
                c->args.push_back(backquote());
                last = cur_;
            } else if (ch == '"') {
                advance();
                c->args.push_back(literal(value::from_string(cur_.text), cur_.line));
                last = cur_;
            } else if (ch == '$') {
                advance();
                auto v = make<variable_expr>(cur_.line);
                v->name = cur_.text;
                last = cur_;
                if (lex_.peek() == QLatin1Char('[')) {
                    nest_guard guard(*this);
                    advance();
                    advance();
                    v->index = expression();
                    if (!is(punct::rbracket))
                        fail(cur_, QStringLiteral("missing \"]\""));
                    last = cur_;
                }
                c->args.push_back(std::move(v));
            } else if (ch == '(') {
                nest_guard guard(*this);
                advance();
                advance();
                // "name (a, b)" and "name ()" are function calls written with a blank.
                if (c->args.empty() && is(punct::rparen)) {
                    function_form = true;
                } else {
                    c->args.push_back(expression());
                    if (c->args.size() == 1 && is(punct::comma)) {
                        function_form = true;
                        while (is(punct::comma)) {
                            advance();
                            c->args.push_back(expression());
                        }
                    }
                    if (!is(punct::rparen))
                        fail(cur_, QStringLiteral("missing \")\""));
                }
                last = cur_;
            } else {
                const token w = lex_.word();
                value v = w.type == tok::integer ? value::from_int(w.int_value)
                        : w.type == tok::floating ? value::from_float(w.float_value)
                                                  : value::from_string(w.text);
                c->args.push_back(literal(v, w.line));
                last = w;
            }
            pos = last.end;
            line = last.end_line;
            if (function_form)
                break;
        }
        resume_position(pos, line);
        if (function_form && !at_statement_end() && !(in_backquote && is(punct::backquote)))
            unexpected(cur_);
        return c;
    }

    void resume_position(int pos, int line)
    {
        lex_.seek(pos, line);
        advance();
    }

    expr_ptr literal(const value& v, int line)
    {
        auto l = make<literal_expr>(line);
        l->v = v;
        return l;
    }

    // cur_ is the opening back quote; on return cur_ is the closing one.
    Q_NEVER_INLINE expr_ptr backquote()
    {
        nest_guard guard(*this);
        const token open = cur_;
        advance();
        if (cur_.type == tok::end)
            fail(open, QStringLiteral("unterminated back quote"));
        if (cur_.type != tok::identifier || is_keyword(cur_.text))
            unexpected(cur_);
        expr_ptr e;
        if (lex_.peek() == QLatin1Char('('))
            e = expression();
        else
            e = command(cur_, true);
        if (!is(punct::backquote)) {
            if (at_statement_end())
                fail(open, QStringLiteral("unterminated back quote"));
            unexpected(cur_);
        }
        return e;
    }

    // --- expressions --------------------------------------------------------

    expr_ptr expression()
    {
        nest_guard guard(*this);
        auto lhs = ternary();
        op o;
        switch (cur_.type == tok::punct ? cur_.p : punct::none) {
        case punct::assign: o = op::assign; break;
        case punct::plus_assign: o = op::add_assign; break;
        case punct::minus_assign: o = op::sub_assign; break;
        case punct::star_assign: o = op::mul_assign; break;
        case punct::slash_assign: o = op::div_assign; break;
        default: return lhs;
        }
        if (lhs->kind != expr::variable)
            fail(cur_, QStringLiteral("cannot assign to this expression"));
        advance();
        auto a = make<assign_expr>(lhs->line);
        a->o = o;
        a->target.reset(static_cast<variable_expr*>(lhs.release()));
        a->rhs = expression();
        return a;
    }

    expr_ptr ternary()
    {
        auto c = binary(0);
        if (!is(punct::question))
            return c;
        auto t = make<ternary_expr>(c->line);
        t->condition = std::move(c);
        advance();
        t->yes = expression();
        expect(punct::colon, ":");
        nest_guard guard(*this);
        t->no = ternary();
        return t;
    }

    // Precedence, loosest first: || && (== !=) (< <= > >=) (+ -) (* / %).
    int level(op* o) const
    {
        if (cur_.type != tok::punct)
            return -1;
        switch (cur_.p) {
        case punct::logical_or: *o = op::logical_or; return 0;
        case punct::logical_and: *o = op::logical_and; return 1;
        case punct::eq: *o = op::eq; return 2;
        case punct::ne: *o = op::ne; return 2;
        case punct::lt: *o = op::lt; return 3;
        case punct::le: *o = op::le; return 3;
        case punct::gt: *o = op::gt; return 3;
        case punct::ge: *o = op::ge; return 3;
        case punct::plus: *o = op::add; return 4;
        case punct::minus: *o = op::sub; return 4;
        case punct::star: *o = op::mul; return 5;
        case punct::slash: *o = op::div; return 5;
        case punct::percent: *o = op::mod; return 5;
        default: return -1;
        }
    }

    expr_ptr binary(int min_level)
    {
        auto left = unary();
        op o;
        for (;;) {
            const int lvl = level(&o);
            if (lvl < min_level)
                return left;
            auto c = make<chain_expr>(left->line);
            c->operands.push_back(std::move(left));
            while (level(&o) == lvl) {
                advance();
                c->ops.push_back(o);
                c->operands.push_back(binary(lvl + 1));
            }
            left = std::move(c);
        }
    }

    expr_ptr unary()
    {
        if (is(punct::minus) || is(punct::plus) || is(punct::logical_not)) {
            nest_guard guard(*this);
            auto u = make<unary_expr>(cur_.line);
            u->o = is(punct::minus) ? op::negate : is(punct::plus) ? op::plus : op::logical_not;
            advance();
            u->operand = unary();
            return u;
        }
        if (is(punct::increment) || is(punct::decrement)) {
            auto i = make<incdec_expr>(cur_.line);
            i->o = is(punct::increment) ? op::increment : op::decrement;
            i->prefix = true;
            advance();
            if (cur_.type != tok::variable)
                fail(cur_, QStringLiteral("\"%1\" needs a variable").arg(QLatin1String(op_text(i->o))));
            i->target = variable();
            return i;
        }
        auto e = primary();
        if (e->kind == expr::variable && (is(punct::increment) || is(punct::decrement))) {
            auto i = make<incdec_expr>(e->line);
            i->o = is(punct::increment) ? op::increment : op::decrement;
            i->target.reset(static_cast<variable_expr*>(e.release()));
            advance();
            return i;
        }
        return e;
    }

    Q_NEVER_INLINE std::unique_ptr<variable_expr> variable()
    {
        auto v = make<variable_expr>(cur_.line);
        v->name = cur_.text;
        advance();
        if (is(punct::lbracket)) {
            nest_guard guard(*this);
            advance();
            v->index = expression();
            expect(punct::rbracket, "]");
        }
        return v;
    }

    Q_NEVER_INLINE expr_ptr primary()
    {
        const token t = cur_;
        switch (t.type) {
        case tok::integer: advance(); return literal(value::from_int(t.int_value), t.line);
        case tok::floating: advance(); return literal(value::from_float(t.float_value), t.line);
        case tok::string: advance(); return literal(value::from_string(t.text), t.line);
        case tok::variable: return variable();
        case tok::identifier: return word_expression();
        case tok::end: unexpected(t);
        case tok::punct: break;
        }
        if (is(punct::lparen)) {
            if (auto c = cast())
                return c;
            advance();
            auto e = expression();
            expect(punct::rparen, ")");
            return e;
        }
        if (is(punct::lbrace)) {
            nest_guard guard(*this);
            auto a = make<array_literal_expr>(t.line);
            advance();
            if (!is(punct::rbrace))
                expression_list(a->items);
            expect(punct::rbrace, "}");
            return a;
        }
        if (is(punct::backquote)) {
            auto e = backquote();
            advance();
            return e;
        }
        unexpected(t);
    }

    // "(int)", "(float)", "(string)" before an operand.
    Q_NEVER_INLINE expr_ptr cast()
    {
        const int p = lex_.pos();
        const int l = lex_.line();
        const token type = lex_.next();
        value::kind k;
        const bool is_cast = type.type == tok::identifier && type_word(type.text, &k) && lex_.next().p == punct::rparen;
        if (!is_cast) {
            lex_.seek(p, l);
            return nullptr;
        }
        auto c = make<cast_expr>(cur_.line);
        c->to = k;
        advance();
        nest_guard guard(*this);
        c->operand = unary();
        return c;
    }

    Q_NEVER_INLINE expr_ptr word_expression()
    {
        const token t = cur_;
        const QString& w = t.text;
        const bool call = peek().p == punct::lparen;
        if (!call) {
            if (w == QLatin1String("true") || w == QLatin1String("yes") || w == QLatin1String("on")) {
                advance();
                return literal(value::from_int(1), t.line);
            }
            if (w == QLatin1String("false") || w == QLatin1String("no") || w == QLatin1String("off")) {
                advance();
                return literal(value::from_int(0), t.line);
            }
            unexpected(t);
        }
        if (is_keyword(w))
            unexpected(t);
        auto c = make<call_expr>(t.line);
        c->name = w;
        note_call(c.get());
        advance();
        advance();
        if (!is(punct::rparen))
            expression_list(c->args);
        expect(punct::rparen, ")");
        return c;
    }

    void note_call(call_expr* c)
    {
        if (in_proc_)
            proc_calls_.push_back(c);
    }

    lexer lex_;
    const std::uintptr_t stack_floor_;
    std::vector<call_expr*> proc_calls_; // the calls inside procedures, bound at the end
    token cur_;
    int depth_ = 0;
    int loops_ = 0;
    int switches_ = 0;
    bool in_proc_ = false;
    value::kind proc_ret_ = value::none;
};

} // namespace

std::shared_ptr<const ast::program> parse(const QString& source, std::uintptr_t stack_floor, const name_filter& known)
{
    return parser(source, stack_floor).run(known);
}

} // namespace mel::detail
