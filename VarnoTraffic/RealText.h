#pragma once

#include <VarnoNetwork/Export.h>

#include <string>
#include <string_view>

// Floating-point numbers as text, the same under every locale.

namespace varno {

// Appends the shortest text that reads back the same; "inf", "-inf", "nan", and for a NaN of other
// bits than the usual ones "nan(0x7FC00001)".
VARNO_EXPORT void appendReal(std::string& text, float value);
VARNO_EXPORT void appendReal(std::string& text, double value);

// Reads the number that the text, all of it, is; false where it is none. Of a float's text that
// lies beyond all floats, too.
VARNO_EXPORT bool readReal(std::string_view text, float& value);
VARNO_EXPORT bool readReal(std::string_view text, double& value);

}  // namespace varno
