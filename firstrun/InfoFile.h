// The record that the add-in keeps from start to start: Velorin_Info.txt in its folder. Line 1 is
// the date of the first start, line 2 counts the starts, this one included; whatever follows is
// carried along.
#pragma once

#include <cstdint>

// Counts this start in the info file and returns the counter as it stood before. Opens nothing:
// whether the palette opens is decided from the result.
//
// 0: no file yet.
// 0: fewer than two lines; a line "1" is appended.
// 0: the second line does not begin with a 32-bit number, after any white space; it becomes "1".
// -1: the file exists and cannot be read; it is left alone.
// Otherwise the number on the second line, which is now one higher, after 2147483647 the lowest.
//
// That the file cannot be made or written changes nothing in the result.
std::int32_t AutoOpenPalette();
