"""Every Python text the project ships must run on Maya 2022's Python 3.7:
the module's scripts, the sandbox's bootstrap, and the python blocks of the
directive reference, the Python module's page and the README (all run by
the tests on a newer Python, which accepts more)."""
import ast
import pathlib
import re
import sys

root = pathlib.Path(sys.argv[1])
failures = []
checked = 0


def check(text, where):
    global checked
    checked += 1
    try:
        ast.parse(text, filename=where, feature_version=(3, 7))
    except SyntaxError as e:
        failures.append(f"{where}:{e.lineno}: {e.msg}")


for path in sorted(root.glob("module/**/*.py")) + sorted(root.glob("sandbox/**/*.py")):
    check(path.read_text(encoding="utf-8"), str(path.relative_to(root)))
for doc in ["docs/directives.md", "docs/python.md", "README.md"]:
    text = (root / doc).read_text(encoding="utf-8")
    for n, block in enumerate(re.findall(r"```python\n(.*?)```", text, re.S), 1):
        check(block, f"{doc} python block {n}")

for failure in failures:
    print(failure)
print(f"{checked} Python texts checked, {len(failures)} not valid Python 3.7")
sys.exit(1 if failures or checked < 3 else 0)
