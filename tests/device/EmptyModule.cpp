// A shared library that exports neither of the symbols the driver layer looks for.

extern "C" __attribute__((visibility("default"))) int vkSomethingElse()
{
    return 1;
}
