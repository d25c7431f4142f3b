// Memory that cannot be had is a result here, not a fault, also where sanitizers watch.

extern "C" const char *__asan_default_options() {
    return "allocator_may_return_null=1";
}

extern "C" const char *__tsan_default_options() {
    return "allocator_may_return_null=1";
}
