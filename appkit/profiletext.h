// Copyright (c) 2026 Bramble Electronics. SPDX-License-Identifier: MIT
// The text of a request that creates a profile.
#pragma once

#include "appkit/tesselclient.h"

// Longer than any text of a profile that is not refused.
inline constexpr uint32_t kProfileTextSize = 1024;

// Writes the fields of `profile` as the service reads them. Returns 0, or the member that is
// refused (TESSEL_PROFILE_...).
int32_t WriteProfileText(const TesselProfile& profile, wchar_t (&text)[kProfileTextSize]);
