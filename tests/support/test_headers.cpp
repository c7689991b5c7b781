// SPDX-License-Identifier: Apache-2.0
// Nothing: its target compiles headers alone.
