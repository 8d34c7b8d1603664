// The provider's enumerated parameters: the values one parameter may take (an enumerating
// parameter) and the one it has (a value parameter), passed through as the provider's bytes.
// Shared by the parameter combo boxes and the settings profiles; no window needed.
#pragma once

#include <windows.h>
#include <wincrypt.h>

#include <string>
#include <vector>

namespace applet {

// One entry of an enumerating parameter: what the list shows and the bytes that select it.
struct ParamEntry {
    std::wstring text;
    std::vector<BYTE> value;
};

// The provider's entry record: a 32-bit string id (0: the name follows as NUL-terminated
// UTF-16), the 32-bit length of the value, the name, then the value. Names given by id come from
// the applet's string table. False when the record is malformed.
bool ParseParamEntry(const BYTE* data, DWORD length, ParamEntry& entry);

// Which entry shows `current`: the last one whose bytes equal it exactly, else the first.
int MatchingEntry(const std::vector<ParamEntry>& entries, const std::vector<BYTE>& current);

// What the provider offers for one parameter and which entry shows its current value.
struct ParamChoice {
    std::vector<ParamEntry> entries;  // malformed records left out
    int current = -1;
};
// 0, or why there is nothing to choose from: the current value can't be read (the provider's
// error), or the list is empty (ERROR_NO_DATA).
DWORD ReadParamChoice(HCRYPTPROV provider, DWORD enumParam, DWORD valueParam,
                      ParamChoice& choice);

// Sets the value parameter: 0 or the provider's error.
DWORD WriteParamValue(HCRYPTPROV provider, DWORD valueParam, const std::vector<BYTE>& value);

}  // namespace applet
