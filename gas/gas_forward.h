#pragma once

/// Forward declarations of the library's classes. Include this in place of declaring them: their
/// namespace is inline, so a declaration beside it would name another class and be ambiguous. It
/// counts the breaks of the binary interface, not versions.

inline namespace gas_abi1 {

class GasObject;
class GasObjectEmpty;

class GasTree;
struct GasTreeNode;
struct GasTreeSplitContext;

class GasCompressedTree;
struct GasCompressedNode;
struct GasCompressedTreeSplitContext;

class GasGridTree;
class GasGridSubTree;

class GasTreeCtx;
class GasTreeSimdNode;
struct GasBbox;
struct GasLeafCallbacks;
struct GasSahWorkspace;
struct GasSimdRays;
struct GasTraversalAccess;

} // namespace gas_abi1
