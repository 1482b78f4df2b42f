qx_add_test(display_stretch_test DisplayStretchTest.cpp LINK platform test_support)
qx_add_test(display_test DisplayHeadlessTest.cpp DisplaySurfaceTest.cpp LINK platform test_support)
qx_add_test(display_x11_test DisplayX11Test.cpp XvfbServer.cpp LINK platform test_support)
