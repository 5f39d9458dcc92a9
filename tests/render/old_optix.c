/* An OptiX library from a driver too old for ABI 68: it refuses the query. */
__attribute__((visibility("default"))) int optixQueryFunctionTable(int abi, unsigned options,
                                                                   void* keys, void* values,
                                                                   void* table, unsigned long size)
{
    (void)abi, (void)options, (void)keys, (void)values, (void)table, (void)size;
    return 7801;
}
