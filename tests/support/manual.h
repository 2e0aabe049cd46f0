// The pages of docs/ and the README show commands in boxes; a test runs them all.
#pragma once

#include <string>

namespace test_support {

// Runs every box of a page that is marked ```sh, each from a folder of its own with the tree's
// examples and headers in it and the built programs in the path, and compares what it prints with
// the ```text box that follows, if there is one. Fails the test with the line of each box that
// fails.
//   page   in: path of the page
//   boxes  in: how many ```sh boxes it has, so that none is lost
void run_boxes_of(const std::string& page, size_t boxes);

} // namespace test_support
