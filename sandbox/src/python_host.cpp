// The embedded CPython of the sandbox: maya.cmds over the host's MEL
// commands, maya.mel, and the python command and idle Python texts.
// Python.h first: Qt's "slots" macro breaks its headers.
#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include "host_private.h"

#include <QFile>
#include <QRegularExpression>

#include <cstdint>
#include <cstdlib>
#include <utility>

// Outside any namespace, as the resource's registration function is.
static void init_resources()
{
    Q_INIT_RESOURCE(sandbox);
}

namespace sandbox {

namespace {

const char* const bootstrap_resource = ":/sandbox/python/maya_bootstrap.py";

bool started = false;
bool start_failed = false;
PyObject* run_function = nullptr; // _run(source, file name) -> (ok, value) of the bootstrap

// Nested runs (Python -> MEL python -> Python ...) each take native stack
// that Python's own recursion limit does not see.
int nesting = 0;
constexpr int max_nesting = 64;

// Owns a new reference.
struct py_ref {
    explicit py_ref(PyObject* o = nullptr) : p(o) {}
    ~py_ref() { Py_XDECREF(p); }
    py_ref(const py_ref&) = delete;
    py_ref& operator=(const py_ref&) = delete;
    PyObject* get() const { return p; }
    explicit operator bool() const { return p != nullptr; }
    PyObject* p;
};

QString to_qstring(PyObject* str)
{
    Py_ssize_t size = 0;
    const char* utf8 = PyUnicode_AsUTF8AndSize(str, &size);
    if (!utf8) {
        PyErr_Clear();
        return QString();
    }
    return QString::fromUtf8(utf8, int(size));
}

PyObject* to_py(const QString& s)
{
    const QByteArray utf8 = s.toUtf8();
    return PyUnicode_FromStringAndSize(utf8.constData(), utf8.size());
}

QString str_of(PyObject* o)
{
    py_ref s(PyObject_Str(o));
    if (!s) {
        PyErr_Clear();
        return QString();
    }
    return to_qstring(s.get());
}

// A Python argument as MEL would receive it. Sequences become one array:
// integers stay integers, any float makes it a float array, anything else
// makes it a string array.
mel::value to_mel(PyObject* o)
{
    if (PyBool_Check(o))
        return mel::value::from_bool(o == Py_True);
    if (PyLong_Check(o)) {
        int overflow = 0;
        long long v = PyLong_AsLongLongAndOverflow(o, &overflow);
        if (overflow || v > INT32_MAX || v < INT32_MIN)
            return mel::value::from_float(PyLong_AsDouble(o));
        return mel::value::from_int(int(v));
    }
    if (PyFloat_Check(o))
        return mel::value::from_float(PyFloat_AsDouble(o));
    if (PyUnicode_Check(o))
        return mel::value::from_string(to_qstring(o));
    if (PyList_Check(o) || PyTuple_Check(o)) {
        py_ref seq(PySequence_Fast(o, "a sequence"));
        const Py_ssize_t n = PySequence_Fast_GET_SIZE(seq.get());
        PyObject** items = PySequence_Fast_ITEMS(seq.get());
        bool all_int = true, all_number = true;
        for (Py_ssize_t i = 0; i < n; ++i) {
            const bool is_int = PyLong_Check(items[i]);
            all_int &= is_int;
            all_number &= is_int || PyFloat_Check(items[i]);
        }
        if (n > 0 && all_int) {
            QVector<int> ints;
            for (Py_ssize_t i = 0; i < n; ++i)
                ints.append(to_mel(items[i]).to_int());
            return mel::value::from_ints(ints);
        }
        if (n > 0 && all_number) {
            QVector<double> floats;
            for (Py_ssize_t i = 0; i < n; ++i)
                floats.append(PyFloat_AsDouble(items[i]));
            return mel::value::from_floats(floats);
        }
        QStringList strings;
        for (Py_ssize_t i = 0; i < n; ++i)
            strings.append(PyUnicode_Check(items[i]) ? to_qstring(items[i]) : str_of(items[i]));
        return mel::value::from_strings(strings);
    }
    if (o == Py_None)
        return mel::value::from_string(QString());
    return mel::value::from_string(str_of(o));
}

// What a MEL result is in Python, as maya.cmds returns it.
PyObject* to_python(const mel::value& v)
{
    switch (v.type()) {
    case mel::value::none: Py_RETURN_NONE;
    case mel::value::integer:
        // What came as a boolean (a bool attribute's value) goes back as one.
        if (v.is_bool())
            return PyBool_FromLong(v.to_int());
        return PyLong_FromLong(v.to_int());
    case mel::value::number: return PyFloat_FromDouble(v.to_float());
    case mel::value::string: return to_py(v.to_string());
    case mel::value::int_array: {
        const QVector<int> ints = v.to_ints();
        PyObject* list = PyList_New(ints.size());
        for (int i = 0; list && i < ints.size(); ++i)
            PyList_SET_ITEM(list, i, PyLong_FromLong(ints[i]));
        return list;
    }
    case mel::value::float_array: {
        const QVector<double> floats = v.to_floats();
        PyObject* list = PyList_New(floats.size());
        for (int i = 0; list && i < floats.size(); ++i)
            PyList_SET_ITEM(list, i, PyFloat_FromDouble(floats[i]));
        return list;
    }
    case mel::value::string_array: {
        const QStringList strings = v.to_strings();
        PyObject* list = PyList_New(strings.size());
        for (int i = 0; list && i < strings.size(); ++i)
            PyList_SET_ITEM(list, i, to_py(strings[i]));
        return list;
    }
    }
    Py_RETURN_NONE;
}

// What the MEL python command returns for a Python value.
mel::value result_to_mel(PyObject* o)
{
    if (o == Py_None)
        return mel::value();
    if (PyList_Check(o) || PyTuple_Check(o) || PyUnicode_Check(o) || PyLong_Check(o)
        || PyFloat_Check(o))
        return to_mel(o);
    return mel::value::from_string(str_of(o));
}

// A value written as a MEL literal, for the built-ins that only run from text.
QString mel_literal(const mel::value& v)
{
    switch (v.type()) {
    case mel::value::none: return "\"\"";
    case mel::value::integer: return QString::number(v.to_int());
    case mel::value::number: return QString::number(v.to_float(), 'g', 17);
    case mel::value::string: return mel_quote(v.to_string());
    case mel::value::int_array:
    case mel::value::float_array: return '{' + v.to_strings().join(", ") + '}';
    case mel::value::string_array: {
        QStringList parts;
        const QStringList items = v.to_strings();
        for (const QString& s : items)
            parts << mel_quote(s);
        return '{' + parts.join(", ") + '}';
    }
    }
    return "\"\"";
}

// Errors of the MEL side, taken for the exception instead of the output.
class error_capture {
public:
    explicit error_capture(host& h) : log_(h.data().log), previous_(log_.set_capture(&errors_)) {}
    ~error_capture() { log_.set_capture(previous_); }
    // Raises RuntimeError with the errors' text, without their line prefix.
    PyObject* raise(const QString& fallback)
    {
        static const QRegularExpression line_prefix("^line \\d+: ");
        QStringList lines;
        for (QString e : std::as_const(errors_))
            lines << e.remove(line_prefix);
        const QString message = lines.isEmpty() ? fallback : lines.join('\n');
        PyErr_SetString(PyExc_RuntimeError, message.toUtf8().constData());
        return nullptr;
    }

private:
    script_log& log_;
    QStringList* previous_;
    QStringList errors_;
};

PyObject* py_write(PyObject*, PyObject* args)
{
    int kind = 0;
    PyObject* text = nullptr;
    if (!PyArg_ParseTuple(args, "iU", &kind, &text))
        return nullptr;
    host::instance().log(kind == 0 ? log_kind::print : log_kind::warning, to_qstring(text));
    Py_RETURN_NONE;
}

PyObject* py_report(PyObject*, PyObject* args)
{
    PyObject* text = nullptr;
    if (!PyArg_ParseTuple(args, "U", &text))
        return nullptr;
    host::instance().log(log_kind::error, to_qstring(text));
    Py_RETURN_NONE;
}

PyObject* py_has_command(PyObject*, PyObject* args)
{
    PyObject* name = nullptr;
    if (!PyArg_ParseTuple(args, "U", &name))
        return nullptr;
    return PyBool_FromLong(host::instance().interpreter().has_command(to_qstring(name)));
}

PyObject* py_command_names(PyObject*, PyObject*)
{
    return to_python(mel::value::from_strings(host::instance().interpreter().command_names()));
}

PyObject* py_flag_takes_value(PyObject*, PyObject* args)
{
    PyObject* command = nullptr;
    PyObject* flag = nullptr;
    if (!PyArg_ParseTuple(args, "UU", &command, &flag))
        return nullptr;
    return PyLong_FromLong(builtin_flag_takes_value(to_qstring(command), to_qstring(flag)));
}

// _quillmarsh.call(name, [mel arguments]) -> result
PyObject* py_call(PyObject*, PyObject* args)
{
    PyObject* name_obj = nullptr;
    PyObject* list = nullptr;
    if (!PyArg_ParseTuple(args, "UO!", &name_obj, &PyList_Type, &list))
        return nullptr;
    const QString name = to_qstring(name_obj);
    QVector<mel::value> values;
    for (Py_ssize_t i = 0; i < PyList_GET_SIZE(list); ++i)
        values.append(to_mel(PyList_GET_ITEM(list, i)));
    if (PyErr_Occurred())
        return nullptr;

    host& h = host::instance();
    error_capture capture(h);
    mel::value result;
    bool ok;
    if (!h.interpreter().has_builtin(name)) {
        ok = h.interpreter().call(name, values, &result);
    } else {
        // MEL's own built-ins (size, match, eval...) only run from text.
        QStringList literals;
        for (const mel::value& v : std::as_const(values))
            literals << mel_literal(v);
        ok = h.interpreter().eval(name + '(' + literals.join(", ") + ");", &result);
    }
    if (PyErr_Occurred())
        return nullptr; // a nested Python run left its exception
    if (!ok)
        return capture.raise(QString("%1: command failed.").arg(name));
    return to_python(result);
}

PyObject* py_queue_python(PyObject*, PyObject* args)
{
    PyObject* text = nullptr;
    if (!PyArg_ParseTuple(args, "U", &text))
        return nullptr;
    host::instance().queue_idle(to_qstring(text), true, false);
    Py_RETURN_NONE;
}

PyObject* py_mel_eval(PyObject*, PyObject* args)
{
    PyObject* text = nullptr;
    if (!PyArg_ParseTuple(args, "U", &text))
        return nullptr;
    host& h = host::instance();
    error_capture capture(h);
    mel::value result;
    if (!h.interpreter().eval(to_qstring(text), &result))
        return capture.raise("Error occurred during execution of MEL script");
    return to_python(result);
}

PyMethodDef methods[] = {
    {"write", py_write, METH_VARARGS, nullptr},
    {"report", py_report, METH_VARARGS, nullptr},
    {"has_command", py_has_command, METH_VARARGS, nullptr},
    {"flag_takes_value", py_flag_takes_value, METH_VARARGS, nullptr},
    {"command_names", py_command_names, METH_NOARGS, nullptr},
    {"call", py_call, METH_VARARGS, nullptr},
    {"mel_eval", py_mel_eval, METH_VARARGS, nullptr},
    {"queue_python", py_queue_python, METH_VARARGS, nullptr},
    {nullptr, nullptr, 0, nullptr}};

PyModuleDef module_def = {PyModuleDef_HEAD_INIT, "_quillmarsh", nullptr, -1, methods,
                          nullptr, nullptr, nullptr, nullptr};

PyObject* init_module()
{
    return PyModule_Create(&module_def);
}


// The maya package, the output streams and the runner, in Python; empty
// when the build left it out.
QByteArray read_bootstrap()
{
    init_resources();
    QFile file(bootstrap_resource);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Python runs only what someone asks for: no environment variables, no user
// site, no script from the working folder.
bool start()
{
    if (started || start_failed)
        return started;
    start_failed = true;
    // Without it maya.cmds would be an empty module that fails far from here.
    const QByteArray bootstrap = read_bootstrap();
    if (bootstrap.isEmpty()) {
        host::instance().log(log_kind::error, QString("Python could not start: its maya module (%1) "
                                                      "is not in the build.")
                                                  .arg(bootstrap_resource));
        return false;
    }
    if (PyImport_AppendInittab("_quillmarsh", &init_module) != 0)
        return false;
    // Python's own arenas are mapped memory that leak checkers do not look
    // into; with malloc every object is visible to them.
    PyPreConfig preconfig;
    PyPreConfig_InitIsolatedConfig(&preconfig);
    preconfig.allocator = PYMEM_ALLOCATOR_MALLOC;
    preconfig.utf8_mode = 1; // scripts are read as UTF-8 whatever the locale
    if (PyStatus_Exception(Py_PreInitialize(&preconfig)))
        return false;
    PyConfig config;
    PyConfig_InitIsolatedConfig(&config);
    config.install_signal_handlers = 0; // Ctrl+C belongs to the application
    config.user_site_directory = 0;
    config.safe_path = 1;
    config.write_bytecode = 0;
    PyStatus status = Py_InitializeFromConfig(&config);
    PyConfig_Clear(&config);
    if (PyStatus_Exception(status)) {
        host::instance().log(log_kind::error, QString("Python could not start: %1")
                                                  .arg(QString::fromUtf8(status.err_msg ? status.err_msg : "")));
        return false;
    }
    py_ref code(Py_CompileString(bootstrap.constData(), "<quillmarsh>", Py_file_input));
    py_ref boot(code ? PyImport_ExecCodeModule("_quillmarsh_boot", code.get()) : nullptr);
    if (boot)
        run_function = PyObject_GetAttrString(boot.get(), "_run");
    if (!run_function) {
        PyErr_Print();
        host::instance().log(log_kind::error, "Python could not start: its maya module failed.");
        return false;
    }
    start_failed = false;
    started = true;
    // Cycles left by the last exceptions would look like leaks at exit.
    std::atexit([] { PyGC_Collect(); });
    return true;
}

} // namespace

bool python_running()
{
    return started;
}

bool run_python(host& h, const QString& text, const QString& file, mel::value* result)
{
    if (result)
        *result = mel::value();
    if (!start()) {
        h.log(log_kind::error, "Python is not available in this session.");
        return false;
    }
    if (nesting >= max_nesting) {
        h.log(log_kind::error, "Python: too many nested Python runs.");
        return false;
    }
    ++nesting;
    py_ref source(to_py(text));
    py_ref name(to_py(file.isEmpty() ? QString("<maya console>") : file));
    py_ref outcome(source && name ? PyObject_CallFunctionObjArgs(run_function, source.get(), name.get(), nullptr)
                                  : nullptr);
    --nesting;
    if (!outcome || !PyTuple_Check(outcome.get()) || PyTuple_GET_SIZE(outcome.get()) != 2) {
        PyErr_Clear();
        h.log(log_kind::error, "Python: the code could not be run.");
        return false;
    }
    const bool ok = PyTuple_GET_ITEM(outcome.get(), 0) == Py_True;
    if (ok && result)
        *result = result_to_mel(PyTuple_GET_ITEM(outcome.get(), 1));
    return ok;
}

} // namespace sandbox
