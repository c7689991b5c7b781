// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Forward declarations of the library's classes. Include this in place of declaring them: their
/// namespace is inline, so a declaration of your own would name another class and make every use
/// ambiguous. The number in the namespace's name counts breaks of the binary interface; it is not a
/// version.

inline namespace gas_abi1 {

class GasObject;
class GasObjectEmpty;
class GasShaderFrames;

class GasTree;
struct GasTreeNode;
struct GasTreeSplitContext;

class GasCompressedTree;
struct GasCompressedNode;
struct GasCompressedTreeSplitContext;

class GasGridTree;
class GasGridSubTree;

class GasRaytraceFrame;
class GasTreeCtx;
class GasTreeSimdNode;
struct GasBbox;
struct GasLeafCallbacks;
struct GasSahWorkspace;
struct GasSimdRays;
struct GasTraversalAccess;

} // namespace gas_abi1
