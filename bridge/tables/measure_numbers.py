#!/usr/bin/env python3
"""Prints what one FFmpeg says about its codecs and pixel formats, as JSON.

The arguments are the directory of its libraries, and the majors of libavutil and libavcodec. FFmpeg runs in this process,
so it is one process for each.
"""
import ctypes
import glob
import json
import os
import sys

DIRECTORY, AVUTIL, AVCODEC = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
IS_OLD = AVCODEC == 56


def open_library(name):
    return ctypes.CDLL(os.path.join(DIRECTORY, name), mode=ctypes.RTLD_GLOBAL)


for helper in ("libdrm.so*", "libva.so*", "libva-drm.so*"):
    for path in glob.glob(os.path.join(DIRECTORY, helper)):
        open_library(os.path.basename(path))
avutil = open_library(f"libavutil.so.{AVUTIL}")
for path in glob.glob(os.path.join(DIRECTORY, "libswresample.so.*")):
    open_library(os.path.basename(path))
avcodec = open_library(f"libavcodec.so.{AVCODEC}")


class OldFormat(ctypes.Structure):
    _fields_ = [("name", ctypes.c_char_p), ("components", ctypes.c_uint8), ("log2_chroma_w", ctypes.c_uint8),
                ("log2_chroma_h", ctypes.c_uint8), ("flags", ctypes.c_uint8), ("comp", ctypes.c_uint16 * 4),
                ("alias", ctypes.c_char_p)]


class Component(ctypes.Structure):
    _fields_ = [(name, ctypes.c_int) for name in ("plane", "step", "offset", "shift", "depth")]


class Format(ctypes.Structure):
    _fields_ = [("name", ctypes.c_char_p), ("components", ctypes.c_uint8), ("log2_chroma_w", ctypes.c_uint8),
                ("log2_chroma_h", ctypes.c_uint8), ("flags", ctypes.c_uint64), ("comp", Component * 4),
                ("alias", ctypes.c_char_p)]


class CodecDescriptor(ctypes.Structure):
    _fields_ = [("id", ctypes.c_int), ("type", ctypes.c_int), ("name", ctypes.c_char_p)]


class Codec(ctypes.Structure):  # libavcodec 56's
    _fields_ = [("name", ctypes.c_char_p), ("long_name", ctypes.c_char_p), ("type", ctypes.c_int),
                ("id", ctypes.c_int), ("capabilities", ctypes.c_uint32)]


def codecs():
    step = avcodec.avcodec_descriptor_next
    step.restype = ctypes.POINTER(CodecDescriptor)
    step.argtypes = [ctypes.c_void_p]
    found, at = [], step(None)
    while at:
        found.append([at.contents.id, at.contents.name.decode(), at.contents.type])
        at = step(ctypes.cast(at, ctypes.c_void_p))
    return found


def decoder_capabilities():
    """The capabilities of each codec's decoder, for those that have one."""
    avcodec.avcodec_register_all()
    find = avcodec.avcodec_find_decoder
    find.restype = ctypes.POINTER(Codec)
    return {number: find(number).contents.capabilities for number, _, _ in codecs() if find(number)}


def old_formats(count):
    found = []
    for number, entry in enumerate((OldFormat * count).in_dll(avutil, "av_pix_fmt_descriptors")):
        found.append([number, entry.name and entry.name.decode(), entry.components, entry.log2_chroma_w,
                      entry.log2_chroma_h, entry.flags, list(entry.comp), entry.alias and entry.alias.decode()])
    return found


def formats():
    step = avutil.av_pix_fmt_desc_next
    step.restype = ctypes.POINTER(Format)
    step.argtypes = [ctypes.c_void_p]
    number_of = avutil.av_pix_fmt_desc_get_id
    number_of.argtypes = [ctypes.c_void_p]
    found, at = [], step(None)
    while at:
        entry = at.contents
        found.append([number_of(ctypes.cast(at, ctypes.c_void_p)), entry.name.decode(), entry.components,
                      entry.log2_chroma_w, entry.log2_chroma_h, entry.flags,
                      [[c.plane, c.step, c.offset, c.shift, c.depth] for c in entry.comp],
                      entry.alias and entry.alias.decode()])
        at = step(ctypes.cast(at, ctypes.c_void_p))
    return found


json.dump({"codecs": codecs(), "capabilities": decoder_capabilities() if IS_OLD else {},
           "formats": old_formats(int(sys.argv[4])) if IS_OLD else formats()}, sys.stdout)
