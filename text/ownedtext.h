// A text that is made once and handed on.
#pragma once

#include <memory>

// UTF-16 code units ended by a zero; never null. Its memory is not cleared before it is written.
using OwnedText = std::unique_ptr<wchar_t[]>;
