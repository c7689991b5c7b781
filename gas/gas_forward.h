#pragma once

/// The library's classes, declared: what a header of a user's own includes in place of declaring
/// them itself. Their namespace counts the breaks of the binary interface, not versions, and is
/// inline: a declaration beside it would be of another class, and ambiguous.

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
