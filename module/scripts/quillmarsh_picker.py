"""The Quillmarsh picker from Python.

    import quillmarsh_picker as qp
    qp.show()
    qp.add_button(120, 40, "L hand", objects=["hero:L_hand_ctrl"])
    qp.button_properties(label="L hand")["x"]   # 120

Each function runs one directive of the QuillmarshPicker command on the
current tab and gives back Python values: ints for coordinates and sizes,
lists, dicts and tuples where the command returns strings. A directive that
fails raises PickerError with the picker's message; a call this module can
tell is wrong before it reaches the picker (no button address, a colour that
is neither a name nor three channels) raises TypeError or ValueError.

Buttons are addressed by keyword, exactly one of: label="L hand" (the first
button with that label), object="hero:L_hand_ctrl" (the first bound to that
object) or at=(x, y) (the first whose bounds hold that pixel).
"""
import contextlib
import json
import os

from typing import Any, Dict, Iterator, List, Optional, Sequence, Tuple, Union

import maya.cmds as cmds

PLUGIN = "QuillmarshPicker"

Number = Union[int, float]
Point = Tuple[Number, Number]
# A name Qt knows ("navy"), "#rrggbb", or (red, green, blue) from 0 to 255.
Color = Union[str, Tuple[int, int, int]]
Objects = Union[str, Sequence[str]]
Path = Union[str, os.PathLike]

__all__ = [
    "PickerError", "show",
    "add_button", "add_command_button", "buttons", "button_objects", "button_bounds",
    "button_properties", "set_button_properties", "move_button", "resize_button", "rename_button",
    "update_button", "delete_button", "color_button", "press_button",
    "mirror_buttons", "mirror_patterns", "set_mirror_patterns",
    "select", "clear",
    "new_tab", "tabs", "current_tab", "set_tab", "rename_tab", "close_tab", "clear_tabs",
    "set_background", "clear_background", "background",
    "namespaces", "update_namespace", "check_bindings",
    "open", "follow_selection", "save", "flush", "batch",
]


class PickerError(RuntimeError):
    """A directive failed: str() is the picker's message, `directive` its name."""

    def __init__(self, message: str, directive: str = "") -> None:
        RuntimeError.__init__(self, message)
        self.directive = directive


# ----- Calling the command

def _command() -> Any:
    # Maya knows the command only while the plug-in is loaded.
    command = getattr(cmds, PLUGIN, None)
    if command is None:
        if not cmds.pluginInfo(PLUGIN, query=True, loaded=True):
            cmds.loadPlugin(PLUGIN)
        command = getattr(cmds, PLUGIN)
    return command


def _run(directive: str, *args: Any) -> Any:
    try:
        return _command()(directive, *args)
    except RuntimeError as error:
        # The directive is an attribute; the text is what went wrong.
        message = str(error).strip()
        prefix = "%s - %s: " % (PLUGIN, directive)
        if message.startswith(prefix):
            message = message[len(prefix):]
        raise PickerError(message, directive) from None


def _strings(result: Any) -> List[str]:
    # No result comes back as None, a single string as a string.
    if result is None:
        return []
    if isinstance(result, (list, tuple)):
        return [str(s) for s in result]
    return [str(result)]


def _number(value: Any, what: str) -> Number:
    if isinstance(value, (int, float)):
        return value
    raise TypeError("%s must be a number, not %r" % (what, value))


def _pair(value: Any, what: str) -> List[Number]:
    try:
        first, second = value
    except (TypeError, ValueError):
        raise TypeError("%s must be a pair of numbers, not %r" % (what, value)) from None
    return [_number(first, what), _number(second, what)]


def _address(label: Optional[str], object: Optional[str], at: Optional[Point]) -> List[Any]:
    given = [name for name, v in (("label", label), ("object", object), ("at", at)) if v is not None]
    if len(given) != 1:
        raise TypeError("address the button with exactly one of label=, object= or at=(x, y), not %s"
                        % (" and ".join(given) or "none"))
    if label is not None:
        return ["label", str(label)]
    if object is not None:
        return ["object", str(object)]
    return ["x"] + _pair(at, "at")


def _color(value: Any, what: str) -> List[Any]:
    # Channels go as three numbers, for the picker to check their range.
    if isinstance(value, str):
        return [value]
    if isinstance(value, (list, tuple)) and len(value) == 3 and all(isinstance(c, int) for c in value):
        return list(value)
    raise TypeError("%s must be a colour name, \"#rrggbb\" or (red, green, blue), not %r" % (what, value))


def _hex(value: Any, what: str) -> str:
    # For the directives that take a colour only as one text.
    channels = _color(value, what)
    if len(channels) == 1:
        return channels[0]
    if not all(0 <= c <= 255 for c in channels):
        raise ValueError("%s channels must be from 0 to 255, not %r" % (what, tuple(channels)))
    return "#%02x%02x%02x" % tuple(channels)


def _paths(paths: Any) -> List[str]:
    if isinstance(paths, (str, bytes)) or hasattr(paths, "__fspath__"):
        paths = [paths]
    return [os.fsdecode(os.fspath(p)) for p in paths]


def _names(objects: Objects) -> List[str]:
    if isinstance(objects, str):
        return [objects]
    return [str(o) for o in objects]


# ----- The window

def show() -> None:
    """Opens the picker window, loading the plug-in first when needed."""
    _command()()


# ----- Buttons

def add_button(x: Number, y: Number, label: str = "", objects: Optional[Objects] = None) -> None:
    """Adds a selection button centred at (x, y), bound to `objects`, or to
    Maya's selection when None. Given objects are selected only while the
    button is made: Maya's selection is put back afterwards, both changes
    one step on Maya's undo queue. PickerError when there is nothing to
    bind or an object is not in the scene (nothing is added then)."""
    args = [_number(x, "x"), _number(y, "y")] + ([str(label)] if label else [])
    if objects is None:
        # The directive would add nothing and succeed; a script wants to know.
        if not cmds.ls(selection=True):
            raise PickerError("add_button: nothing is selected to bind the button to", "add_button")
        _run("add_button", *args)
        return
    names = _names(objects)
    if not names:
        raise PickerError("add_button: no objects to bind the button to", "add_button")
    kept = cmds.ls(selection=True) or []
    cmds.undoInfo(openChunk=True, chunkName="quillmarsh_picker.add_button")
    try:
        try:
            cmds.select(names, replace=True)
        except RuntimeError as error:
            raise PickerError("add_button: %s" % str(error).strip(), "add_button") from None
        try:
            _run("add_button", *args)
        finally:
            if kept:
                cmds.select(kept, replace=True)
            else:
                cmds.select(clear=True)
    finally:
        cmds.undoInfo(closeChunk=True)


def add_command_button(x: Number, y: Number, label: str, script: str, language: str = "mel") -> None:
    """Adds a command button centred at (x, y) whose click runs `script` in
    `language`, "mel" or "python"."""
    if language not in ("mel", "python"):
        raise ValueError("language must be \"mel\" or \"python\", not %r" % (language,))
    _run("add_cmd_button", _number(x, "x"), _number(y, "y"), str(label), language, str(script))


_KINDS = ("select", "command")
# Kinds as buttons report them: attribute buttons are made apart.
_ALL_KINDS = _KINDS + ("attribute",)
_WIDGETS = ("slider", "slider2d", "checkbox")
_LANGUAGES = ("mel", "python")


def buttons() -> List[Dict[str, Any]]:
    """Every button of the current tab in order, each a dict: label, kind
    ("select"/"command"/"attribute"), names (the objects, or an attribute
    button's attributes; empty for a command button),
    x, y (the centre), width, height (the set size), bounds (left, top,
    width, height, grown to hold the label), color, label_color ("#rrggbb"),
    for a command button script and language ("mel"/"python"), else None,
    for a button carrying a picture, picture: its (width, height); for an
    attribute button, widget and ranges: [(minimum, maximum), ...] per attribute."""
    out = []
    for b in json.loads((_strings(_run("query_buttons")) or ["[]"])[0] or "[]"):
        command = b["kind"] == "command"
        out.append({
            "label": b["label"],
            "kind": b["kind"],
            "names": [] if command else list(b["names"]),
            "x": int(b["x"]),
            "y": int(b["y"]),
            "width": int(b["width"]),
            "height": int(b["height"]),
            "bounds": tuple(int(v) for v in b["bounds"]),
            "color": b["color"],
            "label_color": b["labelColor"],
            "script": (b["names"] or [""])[0] if command else None,
            "language": b.get("language", "mel") if command else None,
        })
        if "widget" in b:
            out[-1]["widget"] = b["widget"]
            out[-1]["ranges"] = [tuple(float(v) for v in r) for r in b["ranges"]]
        if "picture" in b:
            out[-1]["picture"] = tuple(int(v) for v in b["picture"])
    return out


def button_objects(*, label: Optional[str] = None, object: Optional[str] = None,
                   at: Optional[Point] = None) -> List[str]:
    """The objects the button is bound to; for a command button, [its script]."""
    return _strings(_run("query_button", *_address(label, object, at)))


def button_bounds(*, label: Optional[str] = None, object: Optional[str] = None,
                  at: Optional[Point] = None) -> Tuple[int, int, int, int]:
    """(left, top, width, height) in picture pixels, grown to hold the label."""
    v = [int(s) for s in _strings(_run("get_button_bounds", *_address(label, object, at)))]
    return (v[0], v[1], v[2], v[3])


def button_properties(*, label: Optional[str] = None, object: Optional[str] = None,
                      at: Optional[Point] = None) -> Dict[str, Any]:
    """{"x", "y", "kind" ("select"/"command"), "language" ("mel"/"python"),
    "size", "width", "height", "color", "label_color" ("#rrggbb"), "shape"
    ("rectangle"/"rounded"/"ellipse"/"polygon")}, for a polygon "points",
    [(x, y), ...] as drawn, and for a button carrying a picture "picture",
    its (width, height)."""
    v = _strings(_run("get_button_properties", *_address(label, object, at)))
    properties = {
        "x": int(v[0]),
        "y": int(v[1]),
        "kind": _ALL_KINDS[int(v[2])],
        "language": _LANGUAGES[int(v[3])],
        "size": int(v[4]),
        "width": int(v[5]),
        "height": int(v[6]),
        "color": v[7],
        "label_color": v[8],
        "shape": v[9],
    }
    # The picture's word and size follow the points.
    end = len(v)
    if "picture" in v[10:]:
        end = v.index("picture", 10)
        properties["picture"] = (int(v[end + 1]), int(v[end + 2]))
    if v[9] == "polygon":
        properties["points"] = [(int(v[i]), int(v[i + 1])) for i in range(10, end - 1, 2)]
    return properties


_SHAPES = ("rectangle", "rounded", "ellipse", "polygon")


def set_button_shape(*, label: Optional[str] = None, object: Optional[str] = None,
                     at: Optional[Point] = None, shape: str,
                     points: Optional[Sequence[Point]] = None) -> None:
    """Gives the button a shape ("rectangle", "rounded", "ellipse" or
    "polygon"); a polygon takes points=[(x, y), ...] in picture pixels and
    takes their bounding box as its place and size."""
    if shape not in _SHAPES:
        raise ValueError("shape must be one of %s, not %r" % (", ".join(_SHAPES), shape))
    coordinates: List[Any] = []
    if shape == "polygon":
        if points is None:
            raise TypeError("a polygon needs points")
        for point in points:
            coordinates += _pair(point, "points")
    elif points is not None:
        raise TypeError("a %s takes no points" % shape)
    _run("set_button_shape", *(_address(label, object, at) + [shape] + coordinates))


def set_button_image(*, label: Optional[str] = None, object: Optional[str] = None,
                     at: Optional[Point] = None, path: Optional[Path]) -> None:
    """Puts the PNG picture in the file on the button; None removes it."""
    _run("set_button_image", *(_address(label, object, at) + ["" if path is None else _paths(path)[0]]))


def set_button_properties(*, label: Optional[str] = None, object: Optional[str] = None,
                          at: Optional[Point] = None, new_label: Optional[str] = None,
                          x: Optional[Number] = None, y: Optional[Number] = None,
                          kind: Optional[str] = None, language: Optional[str] = None,
                          size: Optional[Number] = None, width: Optional[Number] = None,
                          height: Optional[Number] = None, color: Optional[Color] = None,
                          label_color: Optional[Color] = None) -> None:
    """Sets the properties given and leaves the rest, all or nothing:
    new_label, x and y (only together), kind ("select"/"command"), language
    ("mel"/"python"), size, width, height, color and label_color."""
    def number(value: Any, what: str) -> Any:
        return "" if value is None else _number(value, what)

    def choice(value: Any, options: Tuple[str, str], what: str) -> Any:
        if value is None:
            return ""
        if value not in options:
            raise ValueError("%s must be \"%s\" or \"%s\", not %r" % (what, options[0], options[1], value))
        return options.index(value)

    _run("set_button_properties", *(_address(label, object, at) + [
        "" if new_label is None else str(new_label),
        number(x, "x"), number(y, "y"),
        choice(kind, _KINDS, "kind"), choice(language, _LANGUAGES, "language"),
        number(size, "size"), number(width, "width"), number(height, "height"),
        "" if color is None else _hex(color, "color"),
        "" if label_color is None else _hex(label_color, "label_color")]))


def move_button(*, label: Optional[str] = None, object: Optional[str] = None, at: Optional[Point] = None,
                to: Point) -> None:
    """Centres the button at to=(x, y)."""
    address = _address(label, object, at)
    _run("move_button", *(address + _pair(to, "to")))


def resize_button(*, label: Optional[str] = None, object: Optional[str] = None, at: Optional[Point] = None,
                  size: Point) -> None:
    """Gives the button size=(width, height) about its centre."""
    address = _address(label, object, at)
    _run("resize_button", *(address + _pair(size, "size")))


def rename_button(*, label: Optional[str] = None, object: Optional[str] = None, at: Optional[Point] = None,
                  to: str) -> None:
    """Gives the button the label `to`."""
    _run("rename_button", *(_address(label, object, at) + [str(to)]))


def update_button(*, label: Optional[str] = None, object: Optional[str] = None, at: Optional[Point] = None,
                  to: str) -> None:
    """Binds the button to the one object `to` instead of its objects."""
    _run("update_button", *(_address(label, object, at) + [str(to)]))


def delete_button(*, label: Optional[str] = None, object: Optional[str] = None,
                  at: Optional[Point] = None) -> None:
    _run("delete_button", *_address(label, object, at))


def color_button(*, label: Optional[str] = None, object: Optional[str] = None, at: Optional[Point] = None,
                 color: Optional[Color] = None, label_color: Optional[Color] = None) -> None:
    """Sets the button's colour, its label's, or both (both or neither
    change)."""
    address = _address(label, object, at)
    if color is None and label_color is None:
        raise TypeError("color_button needs color=, label_color= or both")
    if label_color is None:
        _run("color_button", *(address + _color(color, "color")))
        return
    if color is None:
        _run("color_button_text", *(address + _color(label_color, "label_color")))
        return
    # Two directives: the first is taken back when the second fails.
    before = button_properties(label=label, object=object, at=at)["color"]
    _run("color_button", *(address + _color(color, "color")))
    try:
        _run("color_button_text", *(address + _color(label_color, "label_color")))
    except PickerError:
        _run("color_button", *(address + [before]))
        raise


def add_attribute_button(x: Number, y: Number, label: str, widget: str,
                         attributes: Sequence[Any]) -> None:
    """An attribute button centred at (x, y): widget "slider", "slider2d"
    (two attributes) or "checkbox". Each attribute is "node.attr", or
    ("node.attr", minimum, maximum) for a range other than its own."""
    if widget not in _WIDGETS:
        raise ValueError("widget must be one of %s, not %r" % (", ".join(_WIDGETS), widget))
    if isinstance(attributes, str):
        attributes = [attributes]
    args: List[Any] = [_number(x, "x"), _number(y, "y"), label, widget]
    for attribute in attributes:
        if isinstance(attribute, str):
            args.append(attribute)
            continue
        try:
            plug, low, high = attribute
        except (TypeError, ValueError):
            raise TypeError("an attribute is \"node.attr\" or (\"node.attr\", minimum, maximum), not %r"
                            % (attribute,)) from None
        args += [plug, _number(low, "minimum"), _number(high, "maximum")]
    _run("add_attribute_button", *args)


def set_attribute_button(*, label: Optional[str] = None, object: Optional[str] = None,
                         at: Optional[Point] = None, value: Any) -> None:
    """What a drag to value does (a pair for a slider2d): the attributes are
    set, within the button's range, as one step of Maya's undo queue."""
    values = list(value) if isinstance(value, (tuple, list)) else [value]
    _run("set_attribute_button", *(_address(label, object, at) + [_number(v, "value") for v in values]))


def attribute_button(*, label: Optional[str] = None, object: Optional[str] = None,
                     at: Optional[Point] = None) -> Dict[str, Any]:
    """{"widget", "attributes": [("node.attr", minimum, maximum), ...],
    "values": [the values Maya holds now, None where it has none]}."""
    v = _strings(_run("get_attribute_button", *_address(label, object, at)))
    plugs = (len(v) - 1) // 4
    return {
        "widget": v[0],
        "attributes": [(v[1 + 3 * i], float(v[2 + 3 * i]), float(v[3 + 3 * i])) for i in range(plugs)],
        "values": [float(s) if s else None for s in v[1 + 3 * plugs:]],
    }


def press_button(*, label: Optional[str] = None, object: Optional[str] = None,
                 at: Optional[Point] = None) -> None:
    """Does what a click does. The selection or the script reaches Maya when
    it is next idle (in batch, a selection at once)."""
    _run("press_button", *_address(label, object, at))


def mirror_buttons(x: Optional[Number] = None, color: Optional[Color] = None,
                   label_color: Optional[Color] = None) -> List[str]:
    """Copies the fully lit buttons to the other side of x (by default the
    picture's middle), recoloured when colours are given. Returns the
    copies' objects that the scene lacks."""
    args = [
        "" if x is None else _number(x, "x"),
        "" if color is None else _hex(color, "color"),
        "" if label_color is None else _hex(label_color, "label_color"),
    ]  # type: List[Any]
    while args and args[-1] == "":
        args.pop()
    return _strings(_run("mirror_buttons", *args))


def mirror_patterns() -> List[Tuple[str, str]]:
    """The side patterns, as pairs: [("L_", "R_"), ("_L", "_R"), ...]."""
    v = _strings(_run("get_mirror_patterns"))
    return list(zip(v[0::2], v[1::2]))


def set_mirror_patterns(pairs: Optional[Sequence[Tuple[str, str]]] = None) -> None:
    """Sets the side patterns; None puts the defaults back."""
    flat = []  # type: List[str]
    for a, b in pairs or []:
        flat += [str(a), str(b)]
    _run("set_mirror_patterns", *flat)


# ----- Selection

def select(objects: Objects) -> None:
    """Selects the objects in Maya, one undo step, skipping (with a warning)
    those the scene lacks; PickerError when it has none of them."""
    names = _names(objects)
    if not names:
        clear()
        return
    _run("select", *names)


def clear() -> None:
    """Empties Maya's selection."""
    _run("clear")


# ----- Tabs

def new_tab(name: Optional[str] = None) -> None:
    """Adds an empty tab, named `name` or "Untitled", and makes it current."""
    _run("new_tab")
    if name is not None:
        _run("rename_tab", str(name))


def tabs() -> List[str]:
    """Every tab's name, in order."""
    return _strings(_run("query_tabs"))


def current_tab() -> str:
    """The current tab's name; PickerError when there is no tab."""
    names = _strings(_run("current_tab"))
    return names[0] if names else ""


def set_tab(name: str) -> None:
    """Makes the (last) tab of that name current."""
    _run("set_tab", str(name))


def rename_tab(name: str) -> None:
    _run("rename_tab", str(name))


def close_tab() -> None:
    _run("close_tab")


def clear_tabs() -> None:
    _run("clear_tabs")


# ----- Pictures

def set_background(path: Optional[Path]) -> None:
    """Puts the picture in the file behind the current tab's buttons; None
    removes it."""
    if path is None:
        clear_background()
    else:
        _run("set_background", _paths(path)[0])


def clear_background() -> None:
    _run("clear_background")


def background() -> Optional[Dict[str, Any]]:
    """{"key", "width", "height"} of the current tab's picture, or None."""
    v = _strings(_run("get_background"))
    if not v:
        return None
    return {"key": v[0], "width": int(v[1]), "height": int(v[2])}


# ----- Namespaces

def namespaces() -> List[str]:
    """The namespaces the current tab's buttons use, sorted (":" the root)."""
    return _strings(_run("get_namespaces"))


def update_namespace(new: str, old: Optional[str] = None) -> None:
    """Moves the current tab's buttons, and the names in its scripts, to
    namespace `new`: all of them, or only those in `old`."""
    if old is None:
        _run("update_namespace", str(new))
    else:
        _run("update_namespace", str(old), str(new))


def check_bindings() -> List[Tuple[str, str]]:
    """(label, object) for each object a button of the current tab is bound
    to that the scene lacks; empty when the scene has them all."""
    found = []
    for line in _strings(_run("check_bindings")):
        # button "LABEL": missing NAME; a label may hold quotes, a name not.
        head, _, name = line.rpartition("\": missing ")
        found.append((head[len("button \""):] if head.startswith("button \"") else head, name))
    return found


# ----- Files and the scene

def open(paths: Union[Path, Sequence[Path]], namespace: Union[str, Sequence[str], None] = None) -> None:
    """Opens each .pkr file as a new tab bound to `namespace`, or as one tab
    for each of several namespaces (one per copy of a character); without,
    the pickers stay as their files have them."""
    args = _paths(paths)
    if namespace is not None:
        for each in [namespace] if isinstance(namespace, str) else list(namespace):
            args += ["namespace", str(each)]
    _run("open", *args)


def follow_selection(on: Optional[bool] = None) -> bool:
    """Whether the window follows a selection made in Maya to the tab of the
    selected character (rebinding a picker that fits it); sets it when `on`
    is given, as Picker > Follow Selection does, and returns it."""
    if on is None:
        return str(_run("follow_selection")) == "1"
    _run("follow_selection", 1 if on else 0)
    return bool(on)


def save(path: Optional[Path] = None) -> None:
    """Writes the current tab to the .pkr file `path` and ties the tab to
    it; without a path, to the tab's own file (asking for one when it has
    none)."""
    if path is None:
        _run("save")
    else:
        _run("save", _paths(path)[0])


def flush() -> None:
    """Writes the pickers into the scene's file info now."""
    _run("flush")


_batch_depth = [0]


@contextlib.contextmanager
def batch() -> Iterator[None]:
    """Holds the tabs' change notices until the block ends, however it
    ends; an inner block leaves the hold to the outermost."""
    if _batch_depth[0] == 0:
        _run("enable_batch_mode")
    _batch_depth[0] += 1
    try:
        yield
    finally:
        _batch_depth[0] -= 1
        if _batch_depth[0] == 0:
            _run("disable_batch_mode")
