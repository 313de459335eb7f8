#pragma once

#include "protocol/export.h"

// Whether a file name matches an expression with DOS wildcards. `ignore_case` compares both in
// upper case. No pointer may be null. The time grows with the product of both lengths and no
// faster.
//
//   *  any run of characters
//   ?  one character
//   >  one character, but nothing at the last dot of the name
//   <  any run of characters up to the last dot of the name. After that dot, and in a name without
//      one, it is like *; only at the very start of a name without a dot it matches nothing but the
//      empty run
//   "  a dot if the name has one there, otherwise nothing
B2_EXPORT bool IsNameInExpressionA(const char* expression, const char* name, bool ignore_case);
B2_EXPORT bool IsNameInExpression(const wchar_t* expression, const wchar_t* name, bool ignore_case);
