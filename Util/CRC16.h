/// \file
/// Util::CRC16: the CRC-16/ARC checksum of byte sequences.
///
/// CRC-16/ARC: polynomial 0x8005 processed bit-reflected (0xA001), initial value 0, input and
/// output reflected, no final XOR. Bytes are taken as unsigned, so 0xFF and -1 agree.
#pragma once

namespace Util {

/// Folds one byte into a running value:
/// `crc = (crc >> 8) ^ table[(crc ^ byte) & 0xFF]`, where table[i] is the CRC of the single
/// byte i. From crc = 0, the byte 0x01 gives 0xC0C1 and the byte 0xFF gives 0x4040.
void CRC16(unsigned short& crc, char byte);

/// The CRC of length bytes of data, starting from 0: the same value as folding each byte in
/// order with the form above. `CRC16("123456789", 9)` is 0xBB3D; an empty block gives 0 and
/// data is not read when length is 0.
///
/// Large blocks use carry-less multiplication where the processor has it (x86-64: 512 bits
/// wide with AVX-512 VPCLMULQDQ, else 128 bits wide with PCLMULQDQ). Setting the environment
/// variable VELMORA_CRC16_PORTABLE before the first call to 128 stops at the 128-bit method,
/// and to any other non-empty value keeps to the portable table method.
unsigned short CRC16(char const* data, unsigned int length);

} // namespace Util
