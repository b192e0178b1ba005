#include "core/byte_order.h"

using namespace viq;

u16 VIQ_fget_ui16i(FILE *f) {
    return read<u16>(f, endian::little);
}
u16 VIQ_fget_ui16m(FILE *f) {
    return read<u16>(f, endian::big);
}
u32 VIQ_fget_ui32i(FILE *f) {
    return read<u32>(f, endian::little);
}
u32 VIQ_fget_ui32m(FILE *f) {
    return read<u32>(f, endian::big);
}

int VIQ_fput_ui8(FILE *f, u8 v) {
    return write(f, v, endian::little);
}
int VIQ_fput_ui16i(FILE *f, u16 v) {
    return write(f, v, endian::little);
}
int VIQ_fput_ui16m(FILE *f, u16 v) {
    return write(f, v, endian::big);
}
int VIQ_fput_ui32i(FILE *f, u32 v) {
    return write(f, v, endian::little);
}
int VIQ_fput_ui32m(FILE *f, u32 v) {
    return write(f, v, endian::big);
}

u16 VIQ_mget_ui16i(const u8 *p) {
    return load<u16>(p, endian::little);
}
u16 VIQ_mget_ui16m(const u8 *p) {
    return load<u16>(p, endian::big);
}
u32 VIQ_mget_ui32i(const u8 *p) {
    return load<u32>(p, endian::little);
}
u32 VIQ_mget_ui32m(const u8 *p) {
    return load<u32>(p, endian::big);
}

u8 VIQ_mput_ui8(u8 *p, u8 v) {
    store(p, v, endian::little);
    return v;
}

void VIQ_mput_ui16i(u8 *p, u16 v) {
    store(p, v, endian::little);
}

u16 VIQ_mput_ui16m(u8 *p, u16 v) {
    store(p, v, endian::big);
    return v;
}

void VIQ_mput_ui32i(u8 *p, u32 v) {
    store(p, v, endian::little);
}

// Callers ignore the address, which is that of the value's second half.
u8 *VIQ_mput_ui32m(u8 *p, u32 v) {
    store(p, v, endian::big);
    return p != nullptr ? p + 2 : nullptr;
}
