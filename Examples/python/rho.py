"""Encoder modules for Python programs, through the library librho (rho.h) and nothing but ctypes.

    library = Library()
    for module in library.list_modules():
        print(module["name"], module.get("error", ""))
    compressor = library.load("PCMPlugin").create_compressor()
    compressor.set(SampleRate=48000, Channels="5.1")
    packets = list(compressor.encode(samples))
"""

import ctypes
import json


class RhoError(Exception):
    """A function of the library has failed; the text says why."""


class WrongUse(RhoError):
    """An argument, a setting's name or its value is not allowed."""


class Format(ctypes.Structure):
    _fields_ = [
        ("sample_rate", ctypes.c_uint),
        ("bits", ctypes.c_uint),
        ("channels", ctypes.c_uint),
        ("bytes_per_sample_frame", ctypes.c_uint),
        ("sample_frames_per_packet", ctypes.c_uint64),
        ("packet_type", ctypes.c_uint),
    ]


class _Packet(ctypes.Structure):
    _fields_ = [
        ("bytes", ctypes.c_void_p),
        ("size", ctypes.c_size_t),
        ("time", ctypes.c_uint64),
        ("sample_frames", ctypes.c_uint64),
    ]


_PacketFunction = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_void_p, ctypes.POINTER(_Packet))
_Handle = ctypes.c_void_p
_Text = ctypes.c_char_p
_Result = ctypes.POINTER(ctypes.c_void_p)

_ARGUMENTS = {
    "rho_find_module": [_Text, _Result],
    "rho_list_modules": [ctypes.c_uint, _Result],
    "rho_describe_module": [_Text, ctypes.c_uint, _Result],
    "rho_module_load": [_Text, _Result],
    "rho_compressor_create": [_Handle, _Result],
    "rho_describe": [_Handle, _Result],
    "rho_set_all": [_Handle, ctypes.POINTER(_Text), ctypes.c_size_t],
    "rho_set_json": [_Handle, _Text, _Text],
    "rho_get_text": [_Handle, _Text, _Result],
    "rho_get_json": [_Handle, _Text, _Result],
    "rho_set_frame_rate": [_Handle, ctypes.c_double],
    "rho_load_preset": [_Handle, _Text],
    "rho_preset": [_Handle, _Result],
    "rho_encoder_create": [_Handle, _Text, _Result],
    "rho_encoder_format": [_Handle, ctypes.POINTER(Format)],
    "rho_encode": [_Handle, _Text, ctypes.c_size_t, _PacketFunction, ctypes.c_void_p],
    "rho_finish": [_Handle, _PacketFunction, ctypes.c_void_p],
}


class Library:
    """librho, by name as installed or by path."""

    def __init__(self, path="librho.so.1"):
        self._rho = ctypes.CDLL(path)
        self._rho.rho_error_text.restype = ctypes.c_char_p
        self._rho.rho_version.restype = ctypes.c_char_p
        for name, arguments in _ARGUMENTS.items():
            getattr(self._rho, name).argtypes = arguments
        for name in ("rho_free", "rho_module_unload", "rho_compressor_destroy", "rho_encoder_destroy"):
            getattr(self._rho, name).argtypes = [ctypes.c_void_p]
            getattr(self._rho, name).restype = None

    def version(self):
        return self._rho.rho_version().decode()

    def call(self, name, *arguments):
        result = getattr(self._rho, name)(*arguments)
        if result != 0:
            raise (WrongUse if result == 2 else RhoError)(self._rho.rho_error_text().decode())

    def handle(self, name, *arguments):
        """The handle that a function writes through its last parameter."""
        result = ctypes.c_void_p()
        self.call(name, *arguments, ctypes.byref(result))
        return result

    def text(self, name, *arguments):
        """The text that a function writes through its last parameter."""
        result = self.handle(name, *arguments)
        try:
            return ctypes.string_at(result).decode()
        finally:
            self._rho.rho_free(result)

    def destroy(self, name, handle):
        getattr(self._rho, name)(handle)

    def find_module(self, name):
        return self.text("rho_find_module", name.encode())

    def list_modules(self, timeout=10.0):
        return json.loads(self.text("rho_list_modules", int(timeout * 1000)))

    def describe_module(self, name, timeout=10.0):
        return json.loads(self.text("rho_describe_module", name.encode(), int(timeout * 1000)))

    def load(self, name):
        return Module(self, name)


class Module:
    def __init__(self, library, name):
        self._library = library
        self._handle = library.handle("rho_module_load", name.encode())

    def __del__(self):
        if hasattr(self, "_handle"):
            self._library.destroy("rho_module_unload", self._handle)

    def create_compressor(self):
        return Compressor(self._library, self._handle)


class Compressor:
    def __init__(self, library, module):
        self._library = library
        self._handle = library.handle("rho_compressor_create", module)

    def __del__(self):
        if hasattr(self, "_handle"):
            self._library.destroy("rho_compressor_destroy", self._handle)

    def describe(self):
        return json.loads(self._library.text("rho_describe", self._handle))

    def set(self, **values):
        """Changes settings, in whatever order they depend on each other."""
        texts = [f"{name}={value}".encode() for name, value in values.items()]
        self._library.call("rho_set_all", self._handle, (ctypes.c_char_p * len(texts))(*texts), len(texts))

    def __setitem__(self, name, value):
        self._library.call("rho_set_json", self._handle, name.encode(), json.dumps(value).encode())

    def __getitem__(self, name):
        return json.loads(self._library.text("rho_get_json", self._handle, name.encode()))

    def text(self, name):
        return self._library.text("rho_get_text", self._handle, name.encode())

    def set_frame_rate(self, frames_per_second):
        self._library.call("rho_set_frame_rate", self._handle, frames_per_second)

    def load_preset(self, path):
        self._library.call("rho_load_preset", self._handle, path.encode())

    def preset(self):
        return self._library.text("rho_preset", self._handle)

    def encoder(self, file_format="MKV"):
        return Encoder(self._library, self._handle, file_format)

    def encode(self, blocks, file_format="MKV"):
        """Yields the packets for blocks of samples: (time, sample frames, bytes) each."""
        encoder = self.encoder(file_format)
        for block in blocks:
            yield from encoder.encode(block)
        yield from encoder.finish()


class Encoder:
    def __init__(self, library, compressor, file_format):
        self._library = library
        self._packets = []
        self._function = _PacketFunction(self._take)
        self._handle = library.handle("rho_encoder_create", compressor, file_format and file_format.encode())

    def __del__(self):
        if hasattr(self, "_handle"):
            self._library.destroy("rho_encoder_destroy", self._handle)

    def _take(self, _context, packet):
        held = packet.contents
        self._packets.append((held.time, held.sample_frames, ctypes.string_at(held.bytes, held.size)))
        return 0

    def _run(self, name, *arguments):
        self._packets = []
        self._library.call(name, self._handle, *arguments, self._function, None)
        return self._packets

    def format(self):
        result = Format()
        self._library.call("rho_encoder_format", self._handle, ctypes.byref(result))
        return result

    def encode(self, samples):
        return self._run("rho_encode", samples, len(samples))

    def finish(self):
        return self._run("rho_finish")
