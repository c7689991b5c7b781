// SPDX-License-Identifier: Apache-2.0
#pragma once

// The owning interface: all of it, in standard types.

#include <gas/easy/context.h>
#include <gas/easy/errors.h>
#include <gas/easy/options.h>
#include <gas/easy/scene.h>
#include <gas/easy/transform.h>
#include <gas/easy/tree.h>
#include <gas/easy/values.h>
