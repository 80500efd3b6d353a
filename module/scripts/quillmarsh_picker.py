"""Opens the Quillmarsh picker from Python.

    import quillmarsh_picker
    quillmarsh_picker.show()
"""
import maya.cmds as cmds


def show():
    """Opens the picker window, loading the plug-in first when needed."""
    if not cmds.pluginInfo("QuillmarshPicker", query=True, loaded=True):
        cmds.loadPlugin("QuillmarshPicker")
    cmds.QuillmarshPicker()
