# The maya package of the sandbox's embedded Python: maya.cmds over the
# host's MEL commands, maya.mel, the output streams and the runner that
# the host calls for every Python text. Compiled in as a resource.
import itertools, sys, types, traceback
import _quillmarsh as _q

class _Output:
    encoding = 'utf-8'
    errors = 'strict'
    def __init__(self, kind):
        self._kind = kind
        self._pending = ''
    def write(self, text):
        text = str(text)
        lines = (self._pending + text).split('\n')
        self._pending = lines.pop()
        for line in lines:
            _q.write(self._kind, line)
        return len(text)
    def flush(self):
        if self._pending:
            _q.write(self._kind, self._pending)
            self._pending = ''
    def isatty(self):
        return False
    def writable(self):
        return True

sys.stdout = _Output(0)
sys.stderr = _Output(1)
sys.argv = ['']

# The name the host compiles this file under: its frames are not the user's.
_BOOT = '<quillmarsh>'

def _value(v):
    # Booleans pass as they are: MEL reads them as 1 and 0, a plug-in
    # command receives a boolean.
    if isinstance(v, (int, float, str, list, tuple)):
        return v
    return str(v)

def _arguments(command, args, kwargs):
    query = bool(kwargs.get('q') or kwargs.get('query'))
    edit = bool(kwargs.get('e') or kwargs.get('edit'))
    out = ['-q'] if query else ['-e'] if edit else []
    for name, v in kwargs.items():
        if name in ('q', 'query', 'e', 'edit'):
            continue
        flag = '-' + name
        if isinstance(v, bool):
            # A flag that stands alone is given or left out; one that takes
            # a value gets 1 or 0. Queried flags never carry a value.
            if query or _q.flag_takes_value(command, name) != 1:
                if v:
                    out.append(flag)
                continue
            out += [flag, int(v)]
        elif isinstance(v, tuple):
            out.append(flag)
            out += [_value(x) for x in v]
        else:
            out += [flag, _value(v)]
    return out + [_value(a) for a in args]

# Where Maya's Python commands answer True or False rather than MEL's 1 or
# 0: always (a name), or when one of these flags is given.
_BOOL_ANSWERS = {
    'objExists': None,
    'namespace': ('exists', 'ex'),
    'namespaceInfo': ('isRootNamespace', 'ir'),
    'pluginInfo': ('loaded', 'l'),
    'file': ('modified', 'mf'),
    'attributeQuery': ('exists', 'ex', 'minExists', 'mne', 'maxExists', 'mxe', 'keyable', 'k'),
}

def _answers_bool(name, kwargs):
    if name not in _BOOL_ANSWERS:
        return False
    flags = _BOOL_ANSWERS[name]
    return flags is None or any(kwargs.get(f) is not None and kwargs.get(f) is not False for f in flags)

def _command(name):
    def command(*args, **kwargs):
        result = _q.call(name, _arguments(name, args, kwargs))
        if type(result) is int and _answers_bool(name, kwargs):
            return bool(result)
        return result
    command.__name__ = command.__qualname__ = name
    command.__module__ = 'maya.cmds'
    return command

_deferred = {}
_deferred_ids = itertools.count()

def _eval_deferred(*args, **kwargs):
    # From Python a deferred text is Python, and a callable is taken too.
    if len(args) != 1:
        return _q.call('evalDeferred', _arguments('evalDeferred', args, kwargs))
    what = args[0]
    if callable(what):
        key = next(_deferred_ids)
        _deferred[key] = what
        what = "__import__('_quillmarsh_boot')._deferred.pop(%d)()" % key
    _q.queue_python(str(what))

def _cmds_getattr(name):
    if name == 'evalDeferred':
        return _eval_deferred
    if name.startswith('__') or not _q.has_command(name):
        raise AttributeError("module 'maya.cmds' has no attribute '%s'" % name)
    return _command(name)

maya = types.ModuleType('maya')
maya.__path__ = []
cmds = types.ModuleType('maya.cmds')
cmds.__getattr__ = _cmds_getattr
cmds.__dir__ = _q.command_names
mel = types.ModuleType('maya.mel')
mel.eval = _q.mel_eval
maya.cmds = cmds
maya.mel = mel
sys.modules.update({'maya': maya, 'maya.cmds': cmds, 'maya.mel': mel})

def _report(exc):
    # Maya's one line: the type, where it happened in the user's code, why.
    frames = [f for f in traceback.extract_tb(exc.__traceback__) if f.filename != _BOOT]
    if isinstance(exc, SyntaxError):
        where = 'file %s line %s: ' % (exc.filename, exc.lineno)
        message = exc.msg
    else:
        where = 'file %s line %d: ' % (frames[-1].filename, frames[-1].lineno) if frames else ''
        message = str(exc)
    if len(frames) > 1:
        _q.write(0, 'Traceback (most recent call last):')
        for line in traceback.format_list(frames):
            _q.write(0, line.rstrip('\n'))
    _q.report('%s: %s%s' % (type(exc).__name__, where, message))

def _run(source, filename):
    main = sys.modules['__main__'].__dict__
    try:
        try:
            code = compile(source, filename, 'eval')
        except SyntaxError:
            code = None
        if code is not None:
            return True, eval(code, main)
        exec(compile(source, filename, 'exec'), main)
        return True, None
    except BaseException as exc:
        _report(exc)
        return False, None
    finally:
        sys.stdout.flush()
        sys.stderr.flush()
