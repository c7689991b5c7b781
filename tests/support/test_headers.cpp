// Nothing: its target compiles headers alone.
