#pragma once

#include <windows.h>

namespace kvsuprt {

// The language the product shows (1033 or 1049), read from the store on first use.
LANGID CurrentLanguage();

void RereadLanguage();
void ForgetLanguage() noexcept;

}  // namespace kvsuprt
