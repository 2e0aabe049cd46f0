// The bounded, growable, NUL-terminated text strheap_t (fields: jti_typedef.h). The record owns its
// buffer. Every function that returns a flag returns false on success and true on failure, and a
// failed one leaves text and allocation as they were. It fails on a null record, on a null text
// where characters are asked of it, on a record in disorder (no buffer, yet mem or len not 0), on a
// length above `max` when the buffer would have to grow, on a length that 32 bits do not hold, and
// when the heap is exhausted. A text that stands in the record's own buffer is allowed everywhere.
#pragma once

#include "jti_typedef.h"

// A new record without a buffer, whose growth stops at `max` characters. With max 0 it never gets a
// buffer.
JTI_EXPORT strheap_t sys_StrHeapInit(uint32_t max);

// Makes room for `len` characters and the NUL. The bound `max` is looked at only when the buffer
// must grow. A first buffer holds the empty text.
JTI_EXPORT bool sys_StrHeapAloc(strheap_t* sh, uint32_t len);

// Frees the buffer and makes the record new again, with the `max` that it has. Fails only for null.
JTI_EXPORT bool sys_StrHeapFree(strheap_t* sh);

// Appends the character `ch`, or the one that `pt` points at.
JTI_EXPORT bool sys_StrHeapPutChar(strheap_t* sh, char ch);
JTI_EXPORT bool sys_StrHeapPutPntr(strheap_t* sh, char* pt);

// The text; null for a record without a buffer (and for a null record). It stays the record's.
JTI_EXPORT char* sys_StrHeapGetStr(strheap_t* sh);

// The length in characters; 0 for a null record.
JTI_EXPORT uint32_t sys_StrHeapGetLen(strheap_t* sh);

// Replaces the text by `len` bytes of `buf` (a NUL among them does not stop the copy), by the
// NUL-terminated `buf`, or by the text of `sh2`.
JTI_EXPORT bool sys_StrHeapCopyLen(strheap_t* sh, const char* buf, uint32_t len);
JTI_EXPORT bool sys_StrHeapCopyStr(strheap_t* sh, const char* buf);
JTI_EXPORT bool sys_StrHeapCopy(strheap_t* sh1, strheap_t* sh2);

// Appends `len` bytes of `buf`, the NUL-terminated `buf`, or the text of `sh2`.
JTI_EXPORT bool sys_StrHeapApndLen(strheap_t* sh, const char* buf, uint32_t len);
JTI_EXPORT bool sys_StrHeapApndStr(strheap_t* sh, const char* buf);
JTI_EXPORT bool sys_StrHeapApnd(strheap_t* sh1, strheap_t* sh2);

// Whether the record's text differs (true) from `len` bytes of `buf`, from the NUL-terminated
// `buf`, or from the text of `sh2`. With `prefix` the other text need only be how the record's text
// begins; with `nocase` letters compare in the lower case of the current locale. Null differs.
JTI_EXPORT bool sys_StrHeapCmpLen(strheap_t* sh, const char* buf, uint32_t len, bool prefix,
                                  bool nocase);
JTI_EXPORT bool sys_StrHeapCmpStr(strheap_t* sh, const char* buf, bool prefix, bool nocase);
JTI_EXPORT bool sys_StrHeapCmp(strheap_t* sh1, strheap_t* sh2, bool prefix, bool nocase);
