// Copyright (c) 2026 Bramble Electronics. SPDX-License-Identifier: MIT
// Replaces the function of the C runtime that corrects the addresses of imported data when the DLL
// is loaded. It needs VirtualProtect, which packaged apps may not use. The DLL has no such
// addresses: the linker would refuse them (--disable-runtime-pseudo-reloc).
void _pei386_runtime_relocator(void);
void _pei386_runtime_relocator(void) {}
