// Prints the installed library's version and where the installed libtandri-gtk (or libtandri-gtk4)
// looks for its web-process module (scripts/check-consumer.sh checks both).
#include <iostream>
#include <string>

#include <tandri/Version.hpp>

// Not a public function: declared here only to see the installed library's own answer.
namespace tandri::gtk {
std::string webExtensionsDirectory();
}

int main() {
    std::cout << tandri::kSDKVersion << "\n" << tandri::gtk::webExtensionsDirectory() << "\n";
    return 0;
}
