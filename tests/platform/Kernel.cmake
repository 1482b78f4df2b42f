qx_add_test(kernel_test CrashGuard_test.cpp Kernel_test.cpp LINK platform test_support)
