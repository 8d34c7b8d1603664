// The provider parameters: the standard ones, the algorithm parameter sets and their lists, and
// the provider's own numbers, most of them answered by the knobs (testbed/knobs.h).
#pragma once

#include "objects.h"

#include <string>

namespace kvcsp::params {

enum class SetKind { kHash = 0, kCipher = 1, kSignature = 2, kDh = 3 };

// The parameter set the provider uses by default for provider type `type` (92..95 in a
// verification context), kept in the configuration store's "\config\oid".
std::string Default(DWORD type, SetKind kind);

// Whether `oid` names a parameter set of that kind of either provider type.
bool Known(SetKind kind, const std::string& oid);

DWORD Get(Context& context, DWORD param, BYTE* data, DWORD* length, DWORD flags);
DWORD Set(Context& context, DWORD param, const BYTE* data, DWORD flags);

}  // namespace kvcsp::params
