// Phonetic codes of the business-name comparison. Not the public Soundex: the
// code is letters, every letter is coded, digits pass and the length is free.
#pragma once

namespace QV_NCOA {

// in and out are fixed fields of len bytes (len at most 99); out needs len + 1
// bytes: it is blanked, then holds the code left-justified and a NUL at len.
void SoundEx(const char* in, char* out, int len);

// Second coder of the family, with no caller in the library. in is a
// NUL-terminated text; out is written only as far as the result reaches.
void SoundEx2(const char* in, char* out, int len);

}  // namespace QV_NCOA
