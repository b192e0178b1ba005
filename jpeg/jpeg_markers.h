// Marker codes of JPEG streams; a marker is the byte 0xFF followed by its code.
#pragma once

#include "core/types.h"

namespace viq {

constexpr u8 marker_sof0 = 0xC0;
constexpr u8 marker_sof1 = 0xC1; // extended sequential
constexpr u8 marker_dht = 0xC4;
constexpr u8 marker_dac = 0xCC;  // arithmetic coding
constexpr u8 marker_rst0 = 0xD0; // separates the frames of a sequence
constexpr u8 marker_rst7 = 0xD7;
constexpr u8 marker_soi = 0xD8;
constexpr u8 marker_eoi = 0xD9;
constexpr u8 marker_sos = 0xDA;
constexpr u8 marker_dqt = 0xDB;
constexpr u8 marker_dri = 0xDD;
constexpr u8 marker_dnl = 0xDC;
constexpr u8 marker_app0 = 0xE0;
constexpr u8 marker_app14 = 0xEE;
constexpr u8 marker_app15 = 0xEF;
constexpr u8 marker_com = 0xFE;

// After this marker code, the coded data continues with the next frame.
constexpr bool separates_frames(u8 code) {
    return (code & 0xD8) == marker_rst0;
}

constexpr bool is_restart(u8 code) {
    return code >= marker_rst0 && code <= marker_rst7;
}

} // namespace viq
