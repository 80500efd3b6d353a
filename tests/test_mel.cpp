// The MEL evaluator, driven the way the host drives it: text in, printed
// output, errors and the arguments registered commands receive out.
#include "sandbox/mel.h"

#include <QThread>
#include <QtTest>

namespace {

QString describe(const mel::value& v)
{
    switch (v.type()) {
    case mel::value::none: return QStringLiteral("none");
    case mel::value::integer: return QStringLiteral("int:") + v.result_text();
    case mel::value::number: return QStringLiteral("float:") + v.result_text();
    case mel::value::string: return QStringLiteral("string:") + v.result_text();
    case mel::value::int_array: return QStringLiteral("int[%1]:").arg(v.to_ints().size()) + v.result_text();
    case mel::value::float_array: return QStringLiteral("float[%1]:").arg(v.to_floats().size()) + v.result_text();
    case mel::value::string_array: return QStringLiteral("string[%1]:").arg(v.to_strings().size()) + v.result_text();
    }
    return QString();
}

// An interpreter with a few host commands:
//   rec ...         records its arguments
//   ls ...          returns its arguments as a string array (none: an empty one)
//   children $n     a fixed tree: root -> a b, a -> a1 a2
//   fail "msg"      fails the way a host command does
//   reenter "mel"   runs MEL re-entrantly, failing quietly if it fails
struct session {
    mel::interpreter mel;
    QString out;
    QStringList errors;
    QStringList warnings;
    QStringList recorded;

    session()
    {
        mel.on_print = [this](const QString& s) { out += s; };
        mel.on_error = [this](const QString& s) { errors << s; };
        mel.on_warning = [this](const QString& s) { warnings << s; };
        mel.register_command("rec", [this](mel::interpreter&, const QVector<mel::value>& args) {
            for (const mel::value& a : args)
                recorded << describe(a);
            return mel::value();
        });
        mel.register_command("ls", [](mel::interpreter&, const QVector<mel::value>& args) {
            QStringList names;
            for (const mel::value& a : args)
                names << a.to_string();
            return mel::value::from_strings(names);
        });
        mel.register_command("children", [](mel::interpreter&, const QVector<mel::value>& args) {
            const QString node = args.value(0).to_string();
            if (node == QLatin1String("root"))
                return mel::value::from_strings({"a", "b"});
            if (node == QLatin1String("a"))
                return mel::value::from_strings({"a1", "a2"});
            return mel::value::from_strings({});
        });
        mel.register_command("fail", [](mel::interpreter&, const QVector<mel::value>& args) -> mel::value {
            throw mel::command_failed{args.value(0).to_string()};
        });
        mel.register_command("reenter", [](mel::interpreter& in, const QVector<mel::value>& args) {
            mel::value r;
            if (!in.eval(args.value(0).to_string(), &r))
                throw mel::command_failed{};
            return r;
        });
    }
};

} // namespace

Q_DECLARE_METATYPE(mel::value)

class test_mel : public QObject {
    Q_OBJECT

private slots:
    void scripts_data()
    {
        QTest::addColumn<QString>("script");
        QTest::addColumn<QString>("output");
        QTest::addColumn<QStringList>("errors");

        QTest::newRow("proc returning string[], for-in")
            << "global proc string[] names(string $prefix, int $n) {\n"
               "    string $out[];\n"
               "    for ($i = 0; $i < $n; $i++)\n"
               "        $out[size($out)] = $prefix + $i;\n"
               "    return $out;\n"
               "}\n"
               "string $all[] = names(\"ctrl_\", 3);\n"
               "for ($name in $all) print ($name + \";\");\n"
            << "ctrl_0;ctrl_1;ctrl_2;" << QStringList();
        QTest::newRow("recursive walk fills an array passed by reference")
            << "global proc walk(string $node, string $list[]) {\n"
               "    $list[size($list)] = $node;\n"
               "    string $kids[] = `children $node`;\n"
               "    for ($k in $kids) walk($k, $list);\n"
               "}\n"
               "string $found[];\n"
               "walk(\"root\", $found);\n"
               "print (stringArrayToString($found, \" \"));"
            << "root a a1 a2 b" << QStringList();
        QTest::newRow("recursion with a return value")
            << "proc int fact(int $n) { if ($n <= 1) return 1; return $n * fact($n - 1); }\n"
               "print (fact(10));"
            << "3628800" << QStringList();
        QTest::newRow("scalars by value, array elements converted to the parameter type")
            << "proc bump(int $x, string $a[]) { $x++; $a[0] = \"changed\"; }\n"
               "int $n = 1; string $s[] = {\"orig\"};\n"
               "bump($n, $s); print ($n + \" \" + $s[0]);\n"
               "int $ints[] = {4}; bump(1, $ints); print (\" \" + $ints[0]);"
            << "1 changed 4" << QStringList();
        QTest::newRow("arrays by reference in command syntax")
            << "global proc fill(string $a[]) { $a[size($a)] = \"f\"; }\nstring $b[]; fill $b; fill $b; print (size($b));"
            << "2" << QStringList();
        QTest::newRow("globals reached from eval inside a proc")
            << "global int $count = 0;\nglobal proc tick() { eval(\"global int $count; $count++;\"); }\n"
               "tick(); tick(); print $count;"
            << "2" << QStringList();
        QTest::newRow("arrays grow with defaults, reads out of range give defaults")
            << "string $a[]; $a[3] = \"x\"; int $i[]; $i[2] = 5;\n"
               "print (size($a) + \"[\" + $a[1] + \"]\" + $a[10] + \"|\" + $i[0] + $i[2] + $i[9]);"
            << "4[]|050" << QStringList();
        QTest::newRow("number formatting and integer arithmetic")
            << "print (2.0 + \" \" + 0.5 + \" \" + 1.0/3 + \" \" + 7/2 + \" \" + -7/2 + \" \" + 7%3 + \" \" + 1e3 + \" \" + 0x10 + \" \" + .25);"
            << "2 0.5 0.3333333333 3 -3 1 1000 16 0.25" << QStringList();
        QTest::newRow("precedence and concatenation order")
            << "print (1 + 2 * 3 - 4 / 2 + \" \" + (1 < 2 && 2 > 3 || !0) + \" \" + (5 > 3 ? \"y\" : \"n\"));\n"
               "print (\" \" + (1 + \"a\" + 2 + 3) + \" \" + (1 + 2 + \"a\"));"
            << "5 1 y 1a23 3a" << QStringList();
        QTest::newRow("string comparison and assignment operators")
            << "string $s = \"abc\"; if ($s == \"abc\" && $s != \"abd\") print \"eq \";\n"
               "$v = 7; $v /= 2; $v *= 3; $v -= 1; $f = 3.0; $f /= 2; print ($v + \" \" + $f);"
            << "eq 8 1.5" << QStringList();
        QTest::newRow("int overflow wraps")
            << "int $i = 2147483647; $i++; print $i;" << "-2147483648" << QStringList();
        QTest::newRow("casts and lenient string numbers")
            << "print ((int)\"7x\" + (float)\"2.5\" + (int)3.9 + \" \" + (string)4);" << "12.5 4" << QStringList();
        QTest::newRow("loops, break, continue")
            << "for ($i = 0; $i < 10; $i++) { if ($i % 2) continue; if ($i > 6) break; print $i; }\n"
               "int $j = 0; while (1) { if (++$j >= 3) break; } print $j;\n"
               "do { print \"d\"; } while (0);"
            << "02463d" << QStringList();
        QTest::newRow("for-in walks a snapshot while the body appends")
            << "string $a[] = {\"x\", \"y\"}; for ($e in $a) $a[size($a)] = $e + \"2\";\n"
               "print (stringArrayToString($a, \",\"));"
            << "x,y,x2,y2" << QStringList();
        QTest::newRow("continue inside a switch continues the loop")
            << "for ($i = 0; $i < 4; $i++) { switch ($i) { case 1: continue; case 2: break; } print $i; }"
            << "023" << QStringList();
        QTest::newRow("ternary chain and unary minus")
            << "print (-(3 - 5) * -2 + 10 / 3 / 2); int $n = 5; print ($n < 0 ? \"neg\" : $n == 0 ? \"zero\" : \"pos\");"
            << "-3pos" << QStringList();
        QTest::newRow("switch falls through until break")
            << "string $k = \"b\";\n"
               "switch ($k) { case \"a\": print \"A\"; case \"b\": print \"B\"; case \"c\": print \"C\"; break; default: print \"D\"; }\n"
               "switch (9) { case 1: print \"1\"; break; default: print \"def\"; }"
            << "BCdef" << QStringList();
        QTest::newRow("block scope shadows")
            << "int $v = 1; { int $v = 2; print $v; } print $v;" << "21" << QStringList();
        QTest::newRow("string built-ins")
            << "string $parts[]; int $n = tokenize(\"a:b::c\", \":\", $parts);\n"
               "print ($n + $parts[2] + \"|\" + match(\"[0-9]+\", \"ab123c4\") + \"|\" + substitute(\"o\", \"foo\", \"0\"));\n"
               "print (\"|\" + gmatch(\"hero_ctrl\", \"*_ctrl\") + gmatch(\"hero_geo\", \"*_c?rl\") + gmatch(\"a7\", \"[a-c][0-9]\"));\n"
               "print (\"|\" + substring(\"hello\", 2, 4) + \"|\" + strip(\"  x \\t\") + \"|\" + toupper(\"ab\") + tolower(\"CD\"));\n"
               "print (\"|\" + stringArrayContains(\"b\", $parts) + stringArrayContains(\"z\", $parts) + size(\"four\"));"
            << "3c|123|f0o|101|ell|x|ABcd|104" << QStringList();
        QTest::newRow("more string built-ins")
            << "string $w[]; tokenize(\"  one two\tthree \", $w);\n"
               "string $p[] = stringToStringArray(\"a|b||c\", \"|\");\n"
               "print (size($w) + $w[2] + \" \" + size($p) + \" \" + substituteAllString(\"a.b.c\", \".\", \"::\"));\n"
               "print (\" \" + startsWith(\"hero_ctrl\", \"hero\") + endsWith(\"hero_ctrl\", \"geo\")\n"
               "       + exists(\"size\") + exists(\"rec\") + exists(\"nothingHere\"));"
            << "3three 3 a::b::c 10110" << QStringList();
        QTest::newRow("escapes, comments and an unknown escape")
            << "print \"a\\tb\\\\c\\\"d\\qe\\n\"; // done\n/* print \"hidden\"; */"
            << "a\tb\\c\"dqe\n" << QStringList();
        QTest::newRow("print of an array ends each element with a newline")
            << "string $a[] = {\"x\", \"y\"}; print $a; float $f[] = {1, 2.5}; print $f;" << "x\ny\n1\n2.5\n" << QStringList();
        QTest::newRow("catch reports and continues")
            << "int $c = catch(`nope`); int $d = catch(size(\"ok\")); print (\"caught \" + $c + $d);" << "caught 10"
            << QStringList{"line 1: Cannot find procedure \"nope\"."};
        QTest::newRow("catchQuiet hides the error")
            << "catchQuiet(`nope`); print \"ok\";" << "ok" << QStringList();
        QTest::newRow("appending reads the variable before the right-hand side runs")
            << "global string $g = \"a\";\n"
               "global proc string touch() { global string $g; $g = \"changed\"; return \"!\"; }\n"
               "$g = $g + touch(); print $g;"
            << "a!" << QStringList();
        QTest::newRow("a command may run MEL re-entrantly")
            << "global proc string inner() { return \"in \"; }\n"
               "string $r = `reenter \"inner()\"`; print ($r + \"out\");"
            << "in out" << QStringList();

        // Just inside the nesting limit, and long flat constructs that must not
        // recurse per element when parsed, run or freed.
        QTest::newRow("200 nested parentheses")
            << "print " + QString(200, '(') + "1" + QString(200, ')') + ";" << "1" << QStringList();
        QTest::newRow("200 nested blocks") << QString(200, '{') + "print 2;" + QString(200, '}') << "2" << QStringList();
        QTest::newRow("100000 additions") << "print (0" + QString(" + 1").repeated(100000) + ");" << "100000"
                                          << QStringList();
        QTest::newRow("100000 else-if branches")
            << "int $v = 99999;\nif ($v == -1) print \"no\";" + QString(" else if ($v == -1) print \"no\";").repeated(99998)
                   + " else if ($v == 99999) print \"yes\";"
            << "yes" << QStringList();
        QString items;
        for (int i = 0; i < 100000; ++i)
            items += (i ? QStringLiteral(",") : QString()) + QString::number(i);
        QTest::newRow("100000-element array literal")
            << "int $a[] = {" + items + "}; print (size($a) + \" \" + $a[99999]);" << "100000 99999" << QStringList();
        // Quadratic copying would run into the test's time limit at these sizes.
        QTest::newRow("long strings and arrays")
            << "string $big = \"" + QString(10 * 1024 * 1024, 'x') + "\"; print (size($big) + \" \");\n"
               "string $a, $b, $list[];\n"
               "for ($i = 0; $i < 200000; $i++) { $a += \"abcde\"; $b = $b + $i + \",\"; $list[size($list)] = $i; }\n"
               "print (size($a) + \" \" + size($b) + \" \" + size($list));"
            << "10485760 1000000 1288890 200000" << QStringList();
    }

    void scripts()
    {
        QFETCH(QString, script);
        QFETCH(QString, output);
        QFETCH(QStringList, errors);
        session s;
        QVERIFY2(s.mel.eval(script), qPrintable(s.errors.join('\n')));
        QCOMPARE(s.errors, errors);
        QCOMPARE(s.out, output);
    }

    void command_arguments_data()
    {
        QTest::addColumn<QString>("script");
        QTest::addColumn<QStringList>("args");

        QTest::newRow("flags and numbers")
            << "rec -flag 1 -2 2.5 -.5 0x1F;"
            << QStringList{"string:-flag", "int:1", "int:-2", "float:2.5", "float:-0.5", "int:31"};
        QTest::newRow("bare words")
            << "rec hero:body.vtx[0:3] |grp|node *:*_ctrl a,b 1abc -;"
            << QStringList{"string:hero:body.vtx[0:3]", "string:|grp|node", "string:*:*_ctrl", "string:a,b",
                           "string:1abc", "string:-"};
        QTest::newRow("variables and expressions")
            << "string $v = \"val\"; string $arr[] = {\"p\", \"q\"};\nrec $v $arr $arr[1] ($v + \"!\") (1 + 2);"
            << QStringList{"string:val", "string[2]:p q", "string:q", "string:val!", "int:3"};
        QTest::newRow("back-quoted arrays stay one argument")
            << "rec `ls a b` `ls` end;" << QStringList{"string[2]:a b", "string[0]:", "string:end"};
        QTest::newRow("parenthesised first argument, then more words")
            << "rec (\"a\" + \"b\") 3; rec (\"x\", 2); rec ();" << QStringList{"string:ab", "int:3", "string:x", "int:2"};
        QTest::newRow("comments between words, several lines")
            << "rec a // comment\n  b /* c */ -d;" << QStringList{"string:a", "string:b", "string:-d"};
        QTest::newRow("a command ends at a closing brace")
            << "if (1) { rec x }" << QStringList{"string:x"};
        QTest::newRow("procs in command syntax convert words to parameter types")
            << "global proc types(int $i, string $s) { rec $i $s; }\ntypes 7 word; types \"8\" 9;"
            << QStringList{"int:7", "string:word", "int:8", "string:9"};
        QTest::newRow("array literal type follows its elements")
            << "$i = {1, 2}; $f = {1, 2.5}; $s = {1, \"a\"}; $e = {}; rec $i $f $s $e;"
            << QStringList{"int[2]:1 2", "float[2]:1 2.5", "string[2]:1 a", "string[0]:"};
        QTest::newRow("back quotes in expressions and command arguments")
            << "string $got[] = `ls -x \"y z\"`; rec $got `ls (\"p\" + 1)`;"
            << QStringList{"string[2]:-x y z", "string[1]:p1"};
    }

    void command_arguments()
    {
        QFETCH(QString, script);
        QFETCH(QStringList, args);
        session s;
        QVERIFY2(s.mel.eval(script), qPrintable(s.errors.join('\n')));
        QCOMPARE(s.recorded, args);
    }

    void runtime_errors_data()
    {
        QTest::addColumn<QString>("script");
        QTest::addColumn<QString>("error"); // empty: nothing is printed
        QTest::addColumn<QString>("output");

        QTest::newRow("unknown procedure stops the statement list")
            << "print \"a\";\nfoo -x;\nprint \"b\";" << "line 2: Cannot find procedure \"foo\"." << "a";
        QTest::newRow("unknown function in an expression")
            << "print \"a\";\n\nprint (1 + bar(2));\nprint \"b\";" << "line 3: Cannot find procedure \"bar\"." << "a";
        QTest::newRow("an error in a nested proc stops the whole eval")
            << "proc inner() {\n  error \"boom\";\n  print \"x\";\n}\n"
               "proc outer() { inner(); print \"y\"; }\n"
               "outer(); print \"z\";"
            << "line 2: boom" << "";
        QTest::newRow("undeclared variable")
            << "print \"a\"; print $nope; print \"b\";" << "line 1: \"$nope\" is an undeclared variable." << "a";
        QTest::newRow("integer division by zero") << "int $z = 0; print (1 / $z);" << "line 1: Division by zero." << "";
        QTest::newRow("modulo by zero") << "print (1 % 0);" << "line 1: Division by zero." << "";
        QTest::newRow("float division by zero") << "print (1.5 / 0);" << "line 1: Division by zero." << "";
        QTest::newRow("array used as a scalar")
            << "int $a[] = {1};\nprint ($a + 1);" << "line 2: Illegal operation \"+\" on data of type int[]." << "";
        QTest::newRow("array in a condition")
            << "string $a[]; if ($a) print \"x\";" << "line 1: Cannot convert data of type string[] to type int." << "";
        QTest::newRow("indexing a scalar") << "int $s; print $s[0];" << "line 1: \"$s\" is not an array." << "";
        QTest::newRow("assigning an array to a scalar")
            << "string $s = {\"a\"};" << "line 1: Cannot convert data of type string[] to type string." << "";
        QTest::newRow("array passed to a built-in expecting a string")
            << "string $a[] = {\"x\"}; print (toupper($a));"
            << "line 1: Cannot convert data of type string[] to type string." << "";
        QTest::newRow("negative index write") << "int $a[]; $a[-1] = 2;" << "line 1: Array index out of bounds: -1." << "";
        QTest::newRow("array returned from a scalar proc")
            << "proc string f() {\n  string $a[];\n  return $a;\n}\nf();"
            << "line 3: Cannot convert data of type string[] to type string." << "";
        QTest::newRow("array passed for a scalar parameter")
            << "proc f(string $s) {}\nstring $a[]; f($a);" << "line 2: Cannot convert data of type string[] to type string."
            << "";
        QTest::newRow("increment of a string")
            << "string $s; $s++;" << "line 1: Illegal operation \"++\" on data of type string." << "";
        QTest::newRow("syntax error in evaluated text stops the caller")
            << "print \"a\";\neval \"print (\"; print \"after\";" << "line 1: Syntax error: unexpected end of text" << "a";
        QTest::newRow("wrong number of arguments")
            << "proc f(int $a) {}\nf(1, 2);" << "line 2: Wrong number of arguments on call to f." << "";
        QTest::newRow("redeclaration with another type")
            << "int $x; string $x;" << "line 1: Invalid redeclaration of variable \"$x\" as a different type." << "";
        QTest::newRow("command failure with a message") << "fail \"bad thing\"; print \"after\";" << "line 1: bad thing" << "";
        QTest::newRow("command failure that already reported") << "fail \"\"; print \"after\";" << "" << "";
        QTest::newRow("a failed re-entrant eval reports once")
            << "reenter \"nope\"; print \"after\";" << "line 1: Cannot find procedure \"nope\"." << "";
        QTest::newRow("invalid regular expression")
            << "match(\"(\", \"a\");" << "line 1: Invalid regular expression \"(\": missing closing parenthesis." << "";
    }

    void runtime_errors()
    {
        QFETCH(QString, script);
        QFETCH(QString, error);
        QFETCH(QString, output);
        session s;
        QVERIFY(!s.mel.eval(script));
        QCOMPARE(s.errors, error.isEmpty() ? QStringList() : QStringList{error});
        QCOMPARE(s.out, output);
    }

    void malformed_input_data()
    {
        QTest::addColumn<QString>("script");
        QTest::addColumn<int>("line");

        const QString first = QStringLiteral("print \"ran\";\n");
        QTest::newRow("unterminated string") << first + "print \"abc;\nprint \"x\";" << 2;
        QTest::newRow("string cut by the end of text") << first + "print \"abc" << 2;
        QTest::newRow("unterminated comment") << first + "/* never\nclosed" << 2;
        QTest::newRow("missing closing brace") << first + "if (1) {\n  print \"x\";\n" << 4;
        QTest::newRow("extra closing brace") << first + "}" << 2;
        QTest::newRow("missing closing parenthesis") << first + "print (1 + 2;" << 2;
        QTest::newRow("extra closing parenthesis") << first + "print (1));" << 2;
        QTest::newRow("unbalanced bracket") << first + "string $a[]; $a[0 = 1;" << 2;
        QTest::newRow("unterminated back quote") << first + "string $s[] = `ls -sl;" << 2;
        QTest::newRow("back quote cut by the end of text") << first + "rec `ls" << 2;
        QTest::newRow("lone dollar") << first + "$ = 1;" << 2;
        QTest::newRow("stray character") << first + "$x = 1 @ 2;" << 2;
        QTest::newRow("proc inside a block") << first + "{ global proc f() {} }" << 2;
        QTest::newRow("break outside a loop") << first + "break;" << 2;
        QTest::newRow("value returned from a void proc") << first + "proc f() { return 1; }" << 2;
        QTest::newRow("100000 parentheses") << first + "print " + QString(100000, '(') + "1" + QString(100000, ')') + ";" << 2;
        QTest::newRow("100000 braces") << first + QString(100000, '{') << 2;
        QTest::newRow("100000 brackets") << first + "$a" + QString("[$a").repeated(100000) << 2;
        QTest::newRow("100000 unary minus") << first + "$x = " + QString("- ").repeated(100000) + "1;" << 2;
        QTest::newRow("100000 ternaries") << first + "$x = " + QString("1 ? 2 : ").repeated(100000) + "3;" << 2;
        QTest::newRow("100000 back quotes") << first + "rec " + QString("`ls (").repeated(100000) << 2;
        QTest::newRow("100000 array literals") << first + "$x = " + QString(100000, '{') << 2;
    }

    void malformed_input()
    {
        QFETCH(QString, script);
        QFETCH(int, line);
        session s;
        QVERIFY(!s.mel.eval(script));
        QCOMPARE(s.out, QString()); // nothing ran, not even the first line
        QCOMPARE(s.errors.size(), 1);
        QVERIFY2(s.errors[0].startsWith(QStringLiteral("line %1: Syntax error: ").arg(line)), qPrintable(s.errors[0]));
    }

    void recursion_limit_data()
    {
        QTest::addColumn<QString>("script");
        QTest::addColumn<int>("min_depth");

        QTest::newRow("proc calling itself")
            << "global proc down(int $n) { global int $depth; $depth = $n; down($n + 1); }\ndown(1);" << 990;
        // Each level here is an eval frame plus a proc frame.
        QTest::newRow("through a command running eval")
            << "global proc down(int $n) { global int $depth; $depth = $n;\n reenter (\"down(\" + ($n + 1) + \")\"); }\ndown(1);"
            << 490;
        QTest::newRow("through the eval built-in")
            << "global proc down(int $n) { global int $depth; $depth = $n;\n eval (\"down(\" + ($n + 1) + \")\"); }\ndown(1);"
            << 490;
    }

    void recursion_limit()
    {
        QFETCH(QString, script);
        QFETCH(int, min_depth);
        // Run on a thread with the usual 8 MB stack so the limit, not the
        // machine's stack setting, decides.
        bool ok = true;
        int depth = 0;
        bool usable_after = false;
        session s;
        QThread* t = QThread::create([&] {
            ok = s.mel.eval(script);
            mel::value d;
            s.mel.eval(QStringLiteral("global int $depth; $depth"), &d);
            depth = d.to_int();
            usable_after = s.mel.eval(QStringLiteral("print \"alive\";"));
        });
        t->setStackSize(8 * 1024 * 1024);
        t->start();
        QVERIFY(t->wait(60000));
        delete t;
        QVERIFY(!ok);
        QVERIFY2(depth >= min_depth, qPrintable(QString::number(depth)));
        QVERIFY(!s.errors.isEmpty());
        QVERIFY2(s.errors.last().endsWith(QStringLiteral(": Maximum recursion depth exceeded.")), qPrintable(s.errors.last()));
        QVERIFY(usable_after);
        QCOMPARE(s.out, QStringLiteral("alive"));
    }

    void host_interference_data()
    {
        QTest::addColumn<QString>("script");
        QTest::addColumn<bool>("ok");
        QTest::addColumn<QString>("output");

        // Commands that pull the ground from under the running script.
        QTest::newRow("a running proc redefines itself")
            << "global proc p() { print \"1\"; eval(\"global proc p() { print \\\"new\\\"; }\"); print \"2\"; }\np(); p();"
            << true << "12new";
        QTest::newRow("reset while a proc runs")
            << "global proc p() { string $local = \"l\"; wipe; print $local; }\np(); print \"!\";" << true << "l!";
        QTest::newRow("reset drops top-level variables mid-text")
            << "string $s = \"a\"; wipe; print $s;" << false << "";
        QTest::newRow("a command unregisters itself") << "once; once;" << false << "";
        QTest::newRow("re-entrant eval declares while an assignment is pending")
            << "$x = `reenter \"$y = 5; $y\"` + $y; print $x;" << true << "10";
    }

    void host_interference()
    {
        QFETCH(QString, script);
        QFETCH(bool, ok);
        QFETCH(QString, output);
        session s;
        s.mel.register_command("wipe", [](mel::interpreter& in, const QVector<mel::value>&) {
            in.reset();
            return mel::value();
        });
        s.mel.register_command("once", [](mel::interpreter& in, const QVector<mel::value>&) {
            in.unregister_command("once");
            return mel::value();
        });
        QCOMPARE(s.mel.eval(script), ok);
        QCOMPARE(s.out, output);
    }

    // A procedure's calls are bound when the procedure is read, as in Maya:
    // a name unknown then never resolves from that procedure, even once a
    // command of that name exists; top-level statements and eval look names
    // up when they run. "plug" registers the command "later".
    void names_bind_when_a_procedure_is_parsed_data()
    {
        QTest::addColumn<QStringList>("texts"); // evaluated in turn
        QTest::addColumn<QString>("output");
        QTest::addColumn<QString>("error"); // the last one; empty for none

        const QString later = "line 1: Cannot find procedure \"later\".";
        QTest::newRow("a command made inside the procedure")
            << QStringList{"global proc p() { plug; later; }", "p();"} << "" << later;
        QTest::newRow("a command made before the call, after the parse")
            << QStringList{"global proc p() { print \"in \"; later; }", "plug;", "p();"} << "in " << later;
        QTest::newRow("function syntax and a back quote too")
            << QStringList{"global proc p() { plug; print(`later`); }", "global proc q() { later(); }", "p();",
                           "q();"}
            << "" << later;
        QTest::newRow("caught, the call is still unbound")
            << QStringList{"global proc p() { plug; print(catch(later())); }", "p();"} << "1" << later;
        QTest::newRow("eval looks up when it runs")
            << QStringList{"global proc p() { plug; eval(\"later\"); eval \"later\"; }", "p();"} << "laterlater"
            << "";
        QTest::newRow("known when parsed") << QStringList{"plug;", "global proc p() { later; }", "p();"} << "later"
                                           << "";
        QTest::newRow("top level, also in blocks, looks up when it runs")
            << QStringList{"plug; later; if (1) { plug; later; }"} << "laterlater" << "";
        QTest::newRow("a procedure of a later text")
            << QStringList{"global proc a() { b(); }", "global proc b() { print \"b\"; }", "a();"} << ""
            << "line 1: Cannot find procedure \"b\".";
        QTest::newRow("procedures of the same text, wherever they stand")
            << QStringList{"global proc a() { b(); c; }\nglobal proc b() { print \"b\"; }\n"
                           "proc c() { print \"c\"; }\na();"}
            << "bc" << "";
        QTest::newRow("a procedure redefined after binding runs its new body")
            << QStringList{"global proc b() { print \"old\"; }", "global proc a() { b(); }",
                           "global proc b() { print \"new\"; }", "a();"}
            << "new" << "";
        QTest::newRow("built-ins and catch bind")
            << QStringList{"global proc p() { print(size(\"abc\") + catch(size(\"\"))); }", "p();"} << "3" << "";
    }

    void names_bind_when_a_procedure_is_parsed()
    {
        QFETCH(QStringList, texts);
        QFETCH(QString, output);
        QFETCH(QString, error);
        session s;
        s.mel.register_command("plug", [](mel::interpreter& in, const QVector<mel::value>&) {
            in.register_command("later", [](mel::interpreter& again, const QVector<mel::value>&) {
                again.eval("print \"later\";");
                return mel::value::from_string("later");
            });
            return mel::value();
        });
        for (const QString& text : texts)
            s.mel.eval(text);
        QCOMPARE(s.out, output);
        QCOMPARE(s.errors.value(s.errors.size() - 1), error);
    }

    void value_conversions_data()
    {
        QTest::addColumn<mel::value>("v");
        QTest::addColumn<int>("as_int");
        QTest::addColumn<double>("as_float");
        QTest::addColumn<QString>("as_string");
        QTest::addColumn<QStringList>("as_strings");

        using mel::value;
        QTest::newRow("float truncates") << value::from_float(-2.75) << -2 << -2.75 << "-2.75" << QStringList{"-2.75"};
        QTest::newRow("ten significant digits") << value::from_float(1234.56789012345) << 1234 << 1234.56789012345
                                                << "1234.56789" << QStringList{"1234.56789"};
        QTest::newRow("huge float clamps") << value::from_float(1e20) << 2147483647 << 1e20 << "1e+20"
                                           << QStringList{"1e+20"};
        QTest::newRow("numeric prefix") << value::from_string("12abc") << 12 << 12.0 << "12abc" << QStringList{"12abc"};
        QTest::newRow("float prefix") << value::from_string(" -3.5e1x") << -35 << -35.0 << " -3.5e1x"
                                      << QStringList{" -3.5e1x"};
        QTest::newRow("no number") << value::from_string("abc") << 0 << 0.0 << "abc" << QStringList{"abc"};
        QTest::newRow("float array") << value::from_floats({0.5, 3}) << 0 << 0.0 << "0.5 3" << QStringList{"0.5", "3"};
        QTest::newRow("none") << value() << 0 << 0.0 << "" << QStringList();
        QTest::newRow("a boolean is MEL's int") << value::from_bool(true) << 1 << 1.0 << "1" << QStringList{"1"};
    }

    void value_conversions()
    {
        QFETCH(mel::value, v);
        QFETCH(int, as_int);
        QFETCH(double, as_float);
        QFETCH(QString, as_string);
        QFETCH(QStringList, as_strings);
        QCOMPARE(v.to_int(), as_int);
        QCOMPARE(v.to_float(), as_float);
        QCOMPARE(v.result_text(), as_string);
        QCOMPARE(v.to_strings(), as_strings);
        QCOMPARE(v.is_bool(), QByteArray(QTest::currentDataTag()).startsWith("a boolean"));
    }

    void session_state()
    {
        session s;
        mel::value r;

        // Top-level variables and globals outlive one eval; a global declared
        // again keeps its value, and procs see it only through a declaration.
        QVERIFY(s.mel.eval("string $kept = \"k\"; global int $g = 5;"));
        QVERIFY(s.mel.eval("global int $g; print ($kept + $g);"));
        QVERIFY(s.mel.eval("global proc int readG() { global int $g; return $g; }\nprint (readG());"));
        QVERIFY(!s.mel.eval("global proc int blind() { return $g; }\nblind();"));
        QCOMPARE(s.errors.last(), QStringLiteral("line 1: \"$g\" is an undeclared variable."));
        QVERIFY(s.mel.eval("string $list[]; $list[size($list)] = \"x\"; print (size($list));"));
        QVERIFY(s.mel.eval("string $list[]; $list[size($list)] = \"x\"; print (size($list));"));
        QCOMPARE(s.out, QStringLiteral("k5512"));

        // A warning is reported and the script goes on; clear empties in place.
        s.out.clear();
        QVERIFY(s.mel.eval("warning \"careful\"; clear($list); print (size($list));"));
        QCOMPARE(s.warnings, QStringList{"line 1: careful"});
        QCOMPARE(s.out, QStringLiteral("0"));

        // What the console echoes.
        QVERIFY(s.mel.eval("ls a b c", &r));
        QCOMPARE(r.type(), mel::value::string_array);
        QCOMPARE(r.result_text(), QStringLiteral("a b c"));
        QVERIFY(s.mel.eval("print \"x\"; 1 + 2; print \"y\";", &r));
        QCOMPARE(r, mel::value::from_int(3));
        QVERIFY(s.mel.eval("$f = 2.50", &r));
        QCOMPARE(r.result_text(), QStringLiteral("2.5"));

        QVERIFY(s.mel.has_procedure("readG"));
        QVERIFY(s.mel.has_command("rec"));
        s.mel.reset();
        QVERIFY(!s.mel.has_procedure("readG"));
        QVERIFY(!s.mel.eval("print $kept;"));
        QVERIFY(!s.mel.eval("global int $g; readG();"));
        QVERIFY(s.mel.eval("global int $g; rec $g;"));
        QCOMPARE(s.recorded, QStringList{"int:0"});
    }
};

QTEST_GUILESS_MAIN(test_mel)
#include "test_mel.moc"
