// The media type the filter offers, and the CLSIDs it serves.
#pragma once

#include <windows.h>

#include "fennoria/source_control.h"

// MEDIATYPE_Stream {E436EB83-524F-11CE-9F53-0020AF0BA770}
static const GUID kMediaTypeStream = {
    0xe436eb83, 0x524f, 0x11ce, {0x9f, 0x53, 0x00, 0x20, 0xaf, 0x0b, 0xa7, 0x70}};
// MEDIASUBTYPE_MPEG2_PROGRAM {E06D8022-DB46-11CF-B4D1-00805F6CBBEA}
static const GUID kMediaSubtypeMpeg2Program = {
    0xe06d8022, 0xdb46, 0x11cf, {0xb4, 0xd1, 0x00, 0x80, 0x5f, 0x6c, 0xbb, 0xea}};
