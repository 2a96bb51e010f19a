"""Typing on the X server's own keyboard device, the way a physical keyboard types.

XTest's core requests type through XTest's device, the one Wordloom types through too; these
type through the server's keyboard device instead (XTest's device requests), so the server tells
the user's keys from Wordloom's as it does on a desktop."""

import ctypes

from harness import Typist


class XDeviceInfo(ctypes.Structure):
    _fields_ = [("id", ctypes.c_ulong), ("type", ctypes.c_ulong), ("name", ctypes.c_char_p),
                ("num_classes", ctypes.c_int), ("use", ctypes.c_int),
                ("inputclassinfo", ctypes.c_void_p)]


class KeyboardTypist(Typist):
    """Types on the X server's own keyboard device instead of XTest's core one."""

    DEVICE = b"Xvfb keyboard"

    def __init__(self, display_name):
        super().__init__(display_name)
        self.xi = ctypes.CDLL("libXi.so.6")
        self.xi.XListInputDevices.restype = ctypes.POINTER(XDeviceInfo)
        self.xi.XListInputDevices.argtypes = [ctypes.c_void_p, ctypes.POINTER(ctypes.c_int)]
        self.xi.XOpenDevice.restype = ctypes.c_void_p
        self.xi.XOpenDevice.argtypes = [ctypes.c_void_p, ctypes.c_ulong]
        self.xtst.XTestFakeDeviceKeyEvent.argtypes = [
            ctypes.c_void_p, ctypes.c_void_p, ctypes.c_uint, ctypes.c_int, ctypes.c_void_p,
            ctypes.c_int, ctypes.c_ulong]
        count = ctypes.c_int(0)
        devices = self.xi.XListInputDevices(self.display, ctypes.byref(count))
        ids = [devices[i].id for i in range(count.value) if devices[i].name == self.DEVICE]
        if not ids:
            raise RuntimeError("the X server has no keyboard device to type on")
        self.device_id = ids[0]
        self.device = self.xi.XOpenDevice(self.display, ids[0])

    def code(self, name):
        code = self.x11.XKeysymToKeycode(self.display, self.x11.XStringToKeysym(name.encode()))
        if code == 0:
            raise ValueError("no key for " + name)
        return code

    def post(self, code, down):
        self.xtst.XTestFakeDeviceKeyEvent(self.display, self.device, code, 1 if down else 0,
                                          None, 0, 0)

    def chord(self, *names):
        """Presses the keys in order and lets go of them in reverse, as fingers do."""
        codes = [self.code(name) for name in names]
        for code in codes:
            self.post(code, True)
        for code in reversed(codes):
            self.post(code, False)
        self.x11.XSync(self.display, 0)

    def key(self, name, shift=False, control=False):
        self.chord(*(["Control_L"] if control else []), *(["Shift_L"] if shift else []), name)

    def hold(self, name, down):
        self.post(self.code(name), down)
        self.x11.XSync(self.display, 0)
