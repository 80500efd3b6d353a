"""Every Python text the project ships must run in every supported Maya:
the module's scripts, the sandbox's bootstrap, and the python blocks of the
directive reference, the Python module's page and the README. Each parses
with the grammar of each Maya's Python (3.7 in 2022 to 3.11 in 2025 and
2026, and the newest this Python knows), warnings being errors (an invalid
escape is a warning that later Pythons make louder), and imports nothing
that Python 3.12 or 3.13 removed, nor one PySide without falling back to
the other (Maya 2022 to 2024 have PySide2, 2025 on PySide6)."""
import ast
import pathlib
import re
import sys
import warnings

MAYA_PYTHONS = [(3, 7), (3, 9), (3, 10), (3, 11)]
NEWEST = tuple(sys.version_info[:2])
if NEWEST > MAYA_PYTHONS[-1]:
    MAYA_PYTHONS.append(NEWEST)

REMOVED = {
    # 3.12
    "imp", "distutils", "asynchat", "asyncore", "smtpd",
    # 3.13
    "aifc", "audioop", "cgi", "cgitb", "chunk", "crypt", "imghdr", "lib2to3", "mailcap",
    "msilib", "nis", "nntplib", "ossaudiodev", "pipes", "sndhdr", "spwd", "sunau",
    "telnetlib", "uu", "xdrlib",
}
PYSIDES = {"PySide2", "PySide6"}

root = pathlib.Path(sys.argv[1])
failures = []
checked = 0


def imported(node):
    if isinstance(node, ast.Import):
        return [alias.name.split(".")[0] for alias in node.names]
    if isinstance(node, ast.ImportFrom) and node.level == 0 and node.module:
        return [node.module.split(".")[0]]
    return []


def check_imports(tree, where):
    # A PySide import is fine inside a try whose body and handlers import both.
    covered = set()
    for node in ast.walk(tree):
        if isinstance(node, ast.Try):
            inside = [n for part in (node.body, *[h.body for h in node.handlers])
                      for stmt in part for n in ast.walk(stmt)]
            if PYSIDES <= {name for n in inside for name in imported(n)}:
                covered.update(id(n) for n in inside)
    for node in ast.walk(tree):
        for name in imported(node):
            if name in REMOVED:
                failures.append(f"{where}:{node.lineno}: imports {name}, removed from later Pythons")
            elif name in PYSIDES and id(node) not in covered:
                failures.append(f"{where}:{node.lineno}: imports {name} without falling back to "
                                f"{(PYSIDES - {name}).pop()}")


def check(text, where):
    global checked
    checked += 1
    tree = None
    for version in MAYA_PYTHONS:
        with warnings.catch_warnings():
            warnings.simplefilter("error")
            try:
                tree = ast.parse(text, filename=where, feature_version=version)
            except SyntaxError as e:
                failures.append(f"{where}:{e.lineno}: not Python {version[0]}.{version[1]}: {e.msg}")
            except Warning as w:
                failures.append(f"{where}: Python {version[0]}.{version[1]} warns: {w}")
    if tree is not None:
        check_imports(tree, where)


for path in sorted(root.glob("module/**/*.py")) + sorted(root.glob("sandbox/**/*.py")):
    check(path.read_text(encoding="utf-8"), str(path.relative_to(root)))
for doc in ["docs/directives.md", "docs/python.md", "README.md"]:
    text = (root / doc).read_text(encoding="utf-8")
    for n, block in enumerate(re.findall(r"```python\n(.*?)```", text, re.S), 1):
        check(block, f"{doc} python block {n}")

for failure in sorted(set(failures)):
    print(failure)
versions = ", ".join(f"{major}.{minor}" for major, minor in MAYA_PYTHONS)
print(f"{checked} Python texts checked against Python {versions}: {len(set(failures))} problems")
sys.exit(1 if failures or checked < 3 else 0)
