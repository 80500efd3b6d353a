// Syntax tree of a parsed MEL text. Nodes are immutable after parsing; procs
// keep their program alive, so a running proc survives being redefined.
#pragma once

#include "sandbox/mel.h"

#include <memory>
#include <vector>

namespace mel::ast {

enum class op {
    add, sub, mul, div, mod,
    lt, le, gt, ge, eq, ne,
    logical_and, logical_or,
    negate, plus, logical_not,
    assign, add_assign, sub_assign, mul_assign, div_assign,
    increment, decrement,
};

const char* op_text(op o);

struct expr {
    enum kind_t { literal, variable, array_literal, unary, chain, ternary, assign, incdec, call, cast };
    expr(kind_t k, int l) : kind(k), line(l) {}
    virtual ~expr() = default;
    const kind_t kind;
    const int line;
};
using expr_ptr = std::unique_ptr<expr>;

struct literal_expr : expr {
    explicit literal_expr(int l) : expr(literal, l) {}
    value v;
};

struct variable_expr : expr {
    explicit variable_expr(int l) : expr(variable, l) {}
    QString name; // with the '$', as messages show it
    expr_ptr index;
};

struct array_literal_expr : expr {
    explicit array_literal_expr(int l) : expr(array_literal, l) {}
    std::vector<expr_ptr> items;
};

struct unary_expr : expr {
    explicit unary_expr(int l) : expr(unary, l) {}
    op o = op::negate;
    expr_ptr operand;
};

// A run of left-associative operators of one precedence level, kept flat so
// that a long "a + b + c + ..." neither recurses when evaluated nor when freed.
struct chain_expr : expr {
    explicit chain_expr(int l) : expr(chain, l) {}
    std::vector<expr_ptr> operands;
    std::vector<op> ops;
};

struct ternary_expr : expr {
    explicit ternary_expr(int l) : expr(ternary, l) {}
    expr_ptr condition, yes, no;
};

struct assign_expr : expr {
    explicit assign_expr(int l) : expr(assign, l) {}
    op o = op::assign;
    std::unique_ptr<variable_expr> target;
    expr_ptr rhs;
};

struct incdec_expr : expr {
    explicit incdec_expr(int l) : expr(incdec, l) {}
    op o = op::increment;
    bool prefix = false;
    std::unique_ptr<variable_expr> target;
};

// Function syntax and command syntax end up the same: a name and arguments.
struct call_expr : expr {
    explicit call_expr(int l) : expr(call, l) {}
    QString name;
    std::vector<expr_ptr> args;
    // False for a call in a procedure whose name was unknown when the
    // procedure was parsed: Maya binds names then, so such a call never
    // finds a command or procedure that appears later.
    bool bound = true;
};

struct cast_expr : expr {
    explicit cast_expr(int l) : expr(cast, l) {}
    value::kind to = value::string;
    expr_ptr operand;
};

struct stmt {
    enum kind_t { empty, expression, declaration, block, if_else, while_loop, do_while, for_loop, for_in,
                  break_stmt, continue_stmt, return_stmt, switch_stmt };
    stmt(kind_t k, int l) : kind(k), line(l) {}
    virtual ~stmt() = default;
    const kind_t kind;
    const int line;
};
using stmt_ptr = std::unique_ptr<stmt>;

struct expression_stmt : stmt {
    explicit expression_stmt(int l) : stmt(expression, l) {}
    expr_ptr e;
};

struct declarator {
    QString name;
    int line = 0;
    bool is_array = false;
    expr_ptr size;
    expr_ptr init;
};

struct declaration_stmt : stmt {
    explicit declaration_stmt(int l) : stmt(declaration, l) {}
    bool global = false;
    value::kind type = value::string; // the scalar type; arrays per declarator
    std::vector<declarator> vars;
};

struct block_stmt : stmt {
    explicit block_stmt(int l) : stmt(block, l) {}
    std::vector<stmt_ptr> body;
};

struct if_stmt : stmt {
    explicit if_stmt(int l) : stmt(if_else, l) {}
    std::vector<expr_ptr> conditions; // "else if" chains stay flat
    std::vector<stmt_ptr> bodies;
    stmt_ptr otherwise;
};

struct while_stmt : stmt {
    while_stmt(kind_t k, int l) : stmt(k, l) {}
    expr_ptr condition;
    stmt_ptr body;
};

struct for_stmt : stmt {
    explicit for_stmt(int l) : stmt(for_loop, l) {}
    std::vector<expr_ptr> init;
    expr_ptr condition;
    std::vector<expr_ptr> step;
    stmt_ptr body;
};

struct for_in_stmt : stmt {
    explicit for_in_stmt(int l) : stmt(for_in, l) {}
    QString var;
    expr_ptr array;
    stmt_ptr body;
};

struct return_stmt_t : stmt {
    explicit return_stmt_t(int l) : stmt(return_stmt, l) {}
    expr_ptr result;
};

struct switch_stmt_t : stmt {
    explicit switch_stmt_t(int l) : stmt(switch_stmt, l) {}
    struct label {
        expr_ptr match; // null for default
        size_t at = 0;  // index into body
    };
    expr_ptr subject;
    std::vector<label> labels;
    std::vector<stmt_ptr> body;
};

struct param {
    QString name;
    value::kind type = value::string;
};

struct proc_def {
    QString name;
    int line = 0;
    bool global = false;
    value::kind ret = value::none;
    std::vector<param> params;
    std::unique_ptr<block_stmt> body;
};

struct program {
    std::vector<stmt_ptr> statements;
    std::vector<std::unique_ptr<proc_def>> procs;
    QHash<QString, const proc_def*> local_procs; // "proc" without "global"
};

} // namespace mel::ast
