// Decoder for scans of any sampling factors, with restart intervals: one row of MCUs at a time,
// from which lines of pixels are made. Samples are rounded to the nearest value.
#pragma once

#include "jpeg/coded_input.h"

namespace viq {

// The samples of a component in the current row of MCUs.
struct component_plane {
    u32 h = 0, v = 0;     // blocks of an MCU, across and down
    u32 pairs_in_row = 0; // of the MCUs that are decoded at a time
    quantiser steps = {}; // the first one is 1
    u32 dc_step = 0;
    dc_tables dc = {};
    ac_tables ac = {};
    vector<decoded_pair> pairs; // of the MCUs that are decoded at a time
    vector<u8> samples;         // 8 lines for each block down
    std::size_t stride = 0;
    u32 h_scale = 1, v_scale = 1; // pixels and lines that share a sample
};

struct component_decoder {
    u32 components = 0;
    bool is_rgb = false;
    u32 mcus = 0; // in a row
    u32 mcu_rows = 0;
    u32 mcu_lines = 0;
    u32 rows_done = 0;
    component_plane planes[3];
    coded_input input;
    u32 mcu_blocks = 0;
    u32 restart_interval = 0;
    u32 mcus_left = 0; // in the interval
    u32 intervals = 0; // that have begun
    scan_reader reader = {};
    vector<u8> wide[3]; // a line of each component, one sample a pixel
    vector<u8> line;    // a line of pixels that is converted further
};

// `image` has a form and coded input; returns a reported error.
u32 begin_components(component_decoder &decoder, const tVIQ_Image &image);

// Writes a line of VIQ_Y8, VIQ_RGB24 or VIQ_YUV422; lines must be taken in order.
u32 decode_line(component_decoder &decoder, u32 line, const tVIQ_Image &out, u8 *pixels);

} // namespace viq
