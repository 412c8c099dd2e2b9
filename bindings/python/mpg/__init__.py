"""Post-processing of downloaded media files: the 22 functions of mpg.h in Python's manner.

A function has its C name in small letters, without `MPG_` and `Get`: `MPG_GetMediaInfo` is
`media_info`, `FLV_FixDuration` is `flv_fix_duration`. Paths are anything `os.fspath` takes. What
fails raises `MpgError`; where the system said no it is an `OSError` of the fitting kind, too
(`FileNotFoundError`, `PermissionError`, ...). mpg.h says what becomes of outputs.

`on_progress(percent)` runs on the calling thread. False stops the operation, which then raises
`Cancelled`; None and everything else goes on. An exception in it (Ctrl-C is one) stops the
operation as well and comes out of the call. Calls let other Python threads run.
"""
from __future__ import annotations

import ctypes
import enum
import errno
import functools
import os
import re
import sys
import threading
from ctypes import POINTER, byref, c_char, c_char_p, c_double, c_int32, c_int64
from ctypes import c_uint8, c_uint32, c_uint64, c_void_p
from dataclasses import dataclass, fields
from pathlib import Path
from typing import Any, Callable, Optional, Sequence, Type, Union

AnyPath = Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]"]
OnProgress = Optional[Callable[[int], Optional[bool]]]


class ErrorCode(enum.IntEnum):
    """The library's own codes; every other is FFmpeg's."""

    AUDIO_CODEC_NOT_FOUND = 0xC0000001 - 2**32
    VIDEO_CODEC_NOT_FOUND = 0xC0000002 - 2**32
    AUDIO_STREAM_NOT_FOUND = 0xC0000003 - 2**32
    VIDEO_STREAM_NOT_FOUND = 0xC0000004 - 2**32
    INVALID_PARAMETER = 0xC0000005 - 2**32


class MergeMode(enum.IntEnum):
    COPY = 0
    REENCODE_AUDIO = 1


class Container(enum.IntEnum):
    MP4 = 0
    AVI = 1
    WEBM = 2
    WEBM_OR_MATROSKA = 3


class OutputFormat(enum.IntEnum):
    _3GP = 0
    AAC = 1
    AVI = 2
    MP3 = 3
    MP4 = 4
    MPEG = 5
    TS = 6
    WEBM = 7
    WMV = 8


class ImageFormat(enum.IntEnum):
    PPM = 0
    BMP = 1
    JPEG = 2


class AudioCodec(enum.IntEnum):
    AS_INPUT = 0
    MP3 = 1
    AAC = 2
    AMR_NB = 3
    AMR_WB = 4


class VideoCodec(enum.IntEnum):
    AS_INPUT = 0
    XVID = 1
    DX50 = 2
    DIVX = 3
    H263 = 4
    H264 = 5
    MPEG4 = 6


class MpgError(Exception):
    """`code` is the library's result code, or None where it gives no reason."""

    def __init__(self, code: Optional[int], text: str) -> None:
        super().__init__(code, text)
        self.code = code
        self.text = text

    def __str__(self) -> str:
        return self.text


class Cancelled(MpgError):
    """The host stopped the operation. `output` is the valid, shorter file that was kept."""

    def __init__(self, output: AnyPath) -> None:
        super().__init__(0, f"stopped; so far in {_shown(output)}")
        self.output = Path(os.fsdecode(output))


class LibraryNotFound(OSError):
    """Says where the library was looked for, and what the system answered."""


@dataclass(frozen=True)
class MediaInfo:
    """Durations in seconds, bit rates in bits per second; 0 or "" is what a file doesn't tell."""

    duration: int
    bit_rate: int
    video_streams: int
    width: int
    height: int
    video_bit_rate: int
    frame_rate: float
    video_duration: int
    video_codec: str
    video_sample_format: str
    audio_streams: int
    channels: int
    audio_bit_rate: int
    sample_rate: int
    audio_duration: int
    audio_codec: str
    sample_format: str


@dataclass(frozen=True)
class MergeDecision:
    mode: MergeMode
    container: Container
    extension: str = ""
    alt_extension: str = ""


# The records as mpg.h lays them out.
class _ProgressInfo(ctypes.Structure):
    _fields_ = [("percent", c_int32), ("context", c_uint64), ("reserved", c_uint64)]


class _MediaInfo(ctypes.Structure):
    _fields_ = [
        ("duration", c_int64), ("bitRate", c_int64), ("videoStreams", c_uint32),
        ("width", c_int32), ("height", c_int32), ("videoBitRate", c_int64),
        ("frameRate", c_double), ("videoDuration", c_int64), ("videoCodec", c_char * 64),
        ("videoSampleFormat", c_char * 64), ("audioStreams", c_uint32), ("channels", c_int32),
        ("audioBitRate", c_int64), ("sampleRate", c_int32), ("audioDuration", c_int64),
        ("audioCodec", c_char * 64), ("sampleFormat", c_char * 64)]


class _MergeDecisionPrefix(ctypes.Structure):
    _fields_ = [("mode", c_uint32), ("container", c_uint32)]


class _MergeDecision(ctypes.Structure):
    _fields_ = [("mode", c_uint32), ("container", c_uint32), ("extension", c_char * 32),
                ("altExtension", c_char * 32)]


class _HostCharacters(ctypes.Union):
    _fields_ = [("text", c_char * 16), ("pointer", c_char_p)]


class _HostString(ctypes.Structure):
    _fields_ = [("characters", _HostCharacters), ("length", c_uint64), ("capacity", c_uint64)]


class _TranscodeParams(ctypes.Structure):
    _fields_ = [(name, c_int32) for name in (
        "formatId targetAudioCodec targetAudioBitRate targetSampleRate targetChannels "
        "targetVideoCodec targetWidth targetHeight scalePercent targetVideoBitRate "
        "videoReencode reserved").split()]


_Callback = ctypes.CFUNCTYPE(c_uint8, POINTER(_ProgressInfo))
_REPORTS = (_Callback, c_uint64)
# Result and arguments of each export.
_EXPORTS: dict[str, tuple[Any, ...]] = {
    "MPG_SetPercent100": (None, c_uint32),
    "MPG_GetErrorText": (c_char_p, c_int32),
    "MPG_TestParams": (None,),
    "MPG_IsThisGoodFile": (c_uint32, c_char_p),
    "MPG_GetMediaInfo": (c_uint8, c_char_p, POINTER(_MediaInfo)),
    "MPG_GetAudioDuration": (c_int32, c_char_p),
    "MPG_MergeOP": (c_int32, c_char_p, c_char_p, POINTER(_MergeDecisionPrefix)),
    "MPG_MergeOP2": (c_int32, c_char_p, c_char_p, POINTER(_MergeDecision)),
    "MPG_GetDefExtension": (None, c_char_p, c_char_p, c_int32),
    "MPG_MergeAV": (c_int32, c_char_p, c_char_p, c_char_p, *_REPORTS),
    "MPG_Merge": (c_int32, POINTER(c_char_p), c_char_p, c_uint8, c_uint8, *_REPORTS),
    "FLV_FixDuration": (c_int32, c_char_p),
    "MP3_Convert": (c_int32, c_char_p, c_char_p, c_int32, *_REPORTS),
    "MPG_GetDefExt": (c_char_p, c_uint32),
    "MPG_Transcode": (c_int32, POINTER(_HostString), POINTER(_HostString),
                      POINTER(_TranscodeParams), *_REPORTS),
    "MPG_SaveTrimmedVideo": (c_int32, c_char_p, c_char_p, c_uint32, c_uint32),
    "MPG_Crop": (c_int32, c_char_p, c_char_p),
    "MPG_ShiftAudio": (c_int32, c_char_p, c_char_p, c_int32, *_REPORTS),
    "MPG_GetImage": (c_uint32, c_uint32, c_char_p, c_char_p, c_int32, c_uint32),
    "MPG_GetImageP": (c_uint8, c_uint32, c_char_p, c_char_p, c_int32, c_int32, c_uint32),
    "MPG_GetImageBMP": (c_void_p, c_char_p, c_uint32, POINTER(c_uint32), c_uint32),
    "MPG_GetImageJPG": (c_uint8, c_char_p, c_char_p, c_uint32, c_uint32),
}

_library: Optional[ctypes.CDLL] = None
_loading = threading.Lock()
_error_text = threading.Lock()
_idle = threading.Condition()  # guards _running, the number of calls that may read percent100
_running = 0
_inside = threading.local()


def load(path: Optional[AnyPath] = None) -> None:
    """Loads the library. The first call of any function does so by itself: from MPG_LIBRARY alone
    if that is set, else from beside this module, else from where the system looks."""
    global _library
    with _loading:
        if _library is not None:
            if path is not None:
                raise RuntimeError("the library is loaded already")
            return
        named = path or os.environ.get("MPG_LIBRARY")
        names = ["mpg.dll"] if sys.platform == "win32" else ["libmpg.so.1", "libmpg.so"]
        beside = [str(Path(__file__).resolve().parent / name) for name in names]
        tried = []
        for place in [os.path.abspath(os.fsdecode(named))] if named else beside + names:
            if os.path.isabs(place) and not os.path.exists(place):
                tried.append(f"{place}: no such file")
                continue
            try:
                if sys.platform == "win32" and os.path.isabs(place):
                    # The FFmpeg DLLs lie beside it. Never closed: they are loaded until the end.
                    os.add_dll_directory(os.path.dirname(place))
                library = ctypes.CDLL(place)
                for name, (result, *arguments) in _EXPORTS.items():
                    function = getattr(library, name)
                    function.restype, function.argtypes = result, arguments
                _library = library
                return
            except (OSError, AttributeError) as error:
                tried.append(f"{place}: {error}")
        raise LibraryNotFound("the mpg library was looked for here:\n  " + "\n  ".join(tried))


def _call(name: str, *arguments: Any) -> Any:
    global _running
    load()
    with _idle:
        _running += 1
    outer, _inside.call = getattr(_inside, "call", False), True
    try:
        return getattr(_library, name)(*arguments)
    finally:
        _inside.call = outer
        with _idle:
            _running -= 1
            _idle.notify_all()


def _path(path: AnyPath) -> bytes:
    encoded = os.fsencode(path)  # UTF-8 on Windows
    if b"\0" in encoded:
        raise ValueError("embedded null byte in a path")
    return encoded


def _shown(path: AnyPath) -> str:
    return os.fsdecode(path)


@functools.lru_cache(maxsize=None)
def _system_class(number: int) -> Type[MpgError]:
    base = type(OSError(number, ""))

    def init(self: Any, code: int, text: str, path: Optional[str]) -> None:
        MpgError.__init__(self, code, text)
        self.errno, self.strerror, self.filename = number, os.strerror(number), path

    return type("Mpg" + base.__name__, (MpgError, base), {
        "__init__": init, "__new__": lambda cls, *_: base.__new__(cls)})


def _system_error(code: int, number: int, path: Optional[AnyPath]) -> MpgError:
    shown = None if path is None else _shown(path)
    text = os.strerror(number) if shown is None else f"{shown}: {os.strerror(number)}"
    return _system_class(number)(code, text, shown)  # type: ignore[call-arg]


def _unreadable(path: AnyPath, code: int = 0) -> Optional[MpgError]:
    """Why the system doesn't let a file be read, if so."""
    try:
        with open(path, "rb"):
            return None
    except OSError as error:
        return _system_error(code or -(error.errno or 0), error.errno or 0, path)


_NOT_SYSTEM = (errno.EINVAL, errno.ENOSYS, errno.EAGAIN, errno.ERANGE, errno.EDOM, errno.ENOMEM)


def _failure(code: int, inputs: Sequence[AnyPath], output: Optional[AnyPath]) -> MpgError:
    """Which file, and why, as far as that can be found out afterwards."""
    for path in inputs:
        error = _unreadable(path, code)
        if error is not None:
            return error
    if output is not None and code == ErrorCode.INVALID_PARAMETER and any(
            os.path.exists(output) and os.path.samefile(output, path) for path in inputs):
        return MpgError(code, f"{_shown(output)}: the output is one of the inputs")
    if code == ErrorCode.INVALID_PARAMETER:
        return MpgError(code, "an argument is empty or out of range")
    # FFmpeg passes errno negated (its own codes are four letters, far below), but has its own use
    # for some of the numbers. A failing disk can be any file's.
    if -code in errno.errorcode and -code not in _NOT_SYSTEM:
        return _system_error(code, -code, None if -code == errno.EIO else output)
    if code in (ErrorCode.VIDEO_CODEC_NOT_FOUND, ErrorCode.VIDEO_STREAM_NOT_FOUND):
        inputs = inputs[:1]
    elif code == ErrorCode.AUDIO_CODEC_NOT_FOUND:
        inputs = inputs[-1:]
    return MpgError(code, f"{', '.join(map(_shown, inputs))}: {error_text(code)}")


def _run(name: str, inputs: Sequence[AnyPath], output: Optional[AnyPath], *arguments: Any) -> None:
    code = _call(name, *arguments)
    if code != 0:
        raise _failure(code, inputs, output)


def _operate(name: str, inputs: Sequence[AnyPath], output: AnyPath, on_progress: OnProgress,
             *arguments: Any) -> None:
    """Runs an operation that reports. Without a host's function it still sees Ctrl-C."""
    raised: list[BaseException] = []
    stopped = False

    def report(info: Any) -> int:
        nonlocal stopped
        try:
            if not stopped and on_progress is not None:
                stopped = on_progress(info.contents.percent) is False
        except BaseException as error:  # printed and lost, if it reached ctypes
            raised.append(error)
            stopped = True
        return 0 if stopped else 1

    callback = _Callback(report)  # alive until the call has returned
    code = _call(name, *arguments, callback, 0)
    if raised:
        raise raised[0]
    if code != 0:
        raise _failure(code, inputs, output)
    if stopped:
        raise Cancelled(output)


def set_percent100(value: int) -> None:
    """Sets what stands for a finished operation, as soon as none runs in this process."""
    load()
    if getattr(_inside, "call", False):
        raise RuntimeError("set_percent100 within an operation")
    with _idle:
        _idle.wait_for(lambda: _running == 0)
        _library.MPG_SetPercent100(value)  # type: ignore[union-attr]


def error_text(code: int) -> str:
    with _error_text:
        return str(_call("MPG_GetErrorText", code).decode("utf-8", "replace"))


def test_params() -> None:
    _call("MPG_TestParams")


def is_this_good_file(path: AnyPath) -> bool:
    return bool(_call("MPG_IsThisGoodFile", _path(path)))


def media_info(path: AnyPath) -> MediaInfo:
    record = _MediaInfo()
    if not _call("MPG_GetMediaInfo", _path(path), byref(record)):
        reason = "holds neither video nor audio" if is_this_good_file(path) else "not a media file"
        raise _unreadable(path) or MpgError(None, f"{_shown(path)}: {reason}")
    return MediaInfo(**_values(record, MediaInfo))


def _values(record: ctypes.Structure, into: type) -> dict[str, Any]:
    def value(name: str) -> Any:
        found = getattr(record, re.sub("_(.)", lambda match: match[1].upper(), name))
        return found.decode("utf-8", "replace") if isinstance(found, bytes) else found

    return {field.name: value(field.name) for field in fields(into)}


def audio_duration(path: AnyPath) -> int:
    return int(_call("MPG_GetAudioDuration", _path(path)))


def merge_op(video: AnyPath, audio: AnyPath) -> MergeDecision:
    """Older form of merge_op2, without extensions."""
    record = _MergeDecisionPrefix()
    _run("MPG_MergeOP", [video, audio], None, _path(video), _path(audio), byref(record))
    return MergeDecision(MergeMode(record.mode), Container(record.container))


def merge_op2(video: AnyPath, audio: AnyPath) -> MergeDecision:
    """How the two files can be joined, and the extension that suits the joined file."""
    record = _MergeDecision()
    _run("MPG_MergeOP2", [video, audio], None, _path(video), _path(audio), byref(record))
    return MergeDecision(MergeMode(record.mode), Container(record.container),
                         record.extension.decode(), record.altExtension.decode())


def def_extension(path: AnyPath) -> str:
    buffer = ctypes.create_string_buffer(32)
    _call("MPG_GetDefExtension", _path(path), buffer, len(buffer))
    return buffer.value.decode()


def def_ext(format: OutputFormat) -> str:
    return str(_call("MPG_GetDefExt", format).decode())


def merge_av(video: AnyPath, audio: AnyPath, output: AnyPath, *,
             on_progress: OnProgress = None) -> None:
    _operate("MPG_MergeAV", [video, audio], output, on_progress,
             _path(video), _path(audio), _path(output))


def merge(segments: Sequence[AnyPath], output: AnyPath, *, delete_segments: bool = False,
          close_gaps: bool = False, on_progress: OnProgress = None) -> None:
    array = (c_char_p * (len(segments) + 1))(*map(_path, segments), None)
    # Segments may be missing: only those that are there can be the reason.
    there = [path for path in segments if os.path.isfile(path)] or list(segments[:1])
    _operate("MPG_Merge", there, output, on_progress, array, _path(output),
             delete_segments, close_gaps)


def flv_fix_duration(path: AnyPath) -> None:
    _run("FLV_FixDuration", [path], path, _path(path))


def mp3_convert(input: AnyPath, output: AnyPath, *, bit_rate: int = 0,
                on_progress: OnProgress = None) -> None:
    _operate("MP3_Convert", [input], output, on_progress, _path(input), _path(output), bit_rate)


def transcode(input: AnyPath, output: AnyPath, format: OutputFormat = OutputFormat.MP4, *,
              audio_codec: AudioCodec = AudioCodec.AS_INPUT, audio_bit_rate: int = 0,
              sample_rate: int = 0, channels: int = 0,
              video_codec: VideoCodec = VideoCodec.AS_INPUT, width: int = 0, height: int = 0,
              scale_percent: int = 0, video_bit_rate: int = 0, reencode_video: bool = False,
              on_progress: OnProgress = None) -> None:
    """Rewrites a file; streams without a setting are copied."""
    params = _TranscodeParams(format, audio_codec, audio_bit_rate, sample_rate, channels,
                              video_codec, width, height, scale_percent, video_bit_rate,
                              reencode_video)
    _operate("MPG_Transcode", [input], output, on_progress,
             byref(_host_string(_path(input))), byref(_host_string(_path(output))), byref(params))


def _host_string(text: bytes) -> _HostString:
    string = _HostString(length=len(text), capacity=max(len(text), 16))  # 16: by pointer
    string.characters.pointer = text
    return string


def save_trimmed_video(input: AnyPath, output: AnyPath, start: int, end: int) -> None:
    _run("MPG_SaveTrimmedVideo", [input], output, _path(input), _path(output), start, end)


def crop(input: AnyPath, output: AnyPath) -> None:
    _run("MPG_Crop", [input], output, _path(input), _path(output))


def shift_audio(input: AnyPath, output: AnyPath, milliseconds: int, *,
                on_progress: OnProgress = None) -> None:
    _operate("MPG_ShiftAudio", [input], output, on_progress,
             _path(input), _path(output), milliseconds)


def _require_picture(result: Any, path: AnyPath) -> None:
    if not result:
        raise _unreadable(path) or MpgError(None, f"{_shown(path)}: no picture could be saved")


def image(input: AnyPath, output: AnyPath, format: ImageFormat = ImageFormat.JPEG, *,
          height: int = 0, quality: int = 90) -> None:
    """Saves the first key picture that isn't of one colour."""
    _require_picture(_call("MPG_GetImage", format, _path(input), _path(output), height, quality),
                     input)


def image_p(input: AnyPath, output: AnyPath, position: int,
            format: ImageFormat = ImageFormat.JPEG, *, height: int = 0, quality: int = 90) -> None:
    """The same from a position, in percent of the duration."""
    _require_picture(_call("MPG_GetImageP", format, _path(input), _path(output), position, height,
                           quality), input)


def image_bmp(input: AnyPath, second: int, *, height: int = 0) -> bytes:
    """The picture at a time, laid out as mpg.h describes: no BMP file, 4 bytes stand before the
    rows."""
    size = c_uint32()
    bitmap = _call("MPG_GetImageBMP", _path(input), second, byref(size), height)
    _require_picture(bitmap, input)
    try:
        return ctypes.string_at(bitmap, size.value)
    finally:
        free = ctypes.CDLL("msvcrt" if sys.platform == "win32" else None).free
        free.argtypes, free.restype = [c_void_p], None
        free(bitmap)


def image_jpg(input: AnyPath, output: AnyPath, second: int, *, height: int = 0) -> None:
    """Saves the picture at a time as a small JPEG file."""
    _require_picture(_call("MPG_GetImageJPG", _path(input), _path(output), second, height), input)
