// The version record of this library, for those who scan its file; docs/version-record.md tells the form. It
// is made when the library is built (tools/version/verrec).
//
// Threads: constant.
#pragma once

extern "C" const char __DBVersionInfo_orvsmtp16_r[];
