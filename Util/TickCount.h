/// \file
/// Util timing: wall-clock seconds, a millisecond tick and measurement hooks.
#pragma once

namespace Util {

/// Calendar time in whole seconds since 1970 (the C library's time()), as an unsigned 32-bit
/// value: 2000-01-01 00:00:00 UTC reads 946684800.
unsigned int GetTimeSeconds();

/// Milliseconds of the platform's event clock (GetCurrentEventTime: seconds since system
/// start), rounded half away from zero: ms = seconds * 1000, plus 0.5 (minus 0.5 below zero),
/// truncated toward zero. An event time of 1.0004 s gives 1000, of 1.0005 s gives 1001. The
/// whole unsigned range is used (2147483.648 s gives 0x80000000); past 0xFFFFFFFF, after about
/// 49.7 days, the count wraps modulo 2^32 like any 32-bit tick, so compare ticks by unsigned
/// difference.
unsigned int GetTickCountMillis();

/// \name Measurement hooks
/// Hooks for timing measurements. They deliberately do nothing in this system: no clock is
/// read and no state changes, whatever the argument.
///@{

/// Does nothing, whatever enabled says.
void TimeMeasureStart(bool enabled);
void TimeMeasureEnd(bool enabled);
///@}

} // namespace Util
