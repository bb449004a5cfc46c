// Names of ids for rc_only.rc, read by kzmsg check through its #include.
#define ID_BASE 400  // the first id of the block
#define ID_NEXT (ID_BASE + 1)
