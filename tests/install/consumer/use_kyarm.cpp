// A C++ host built against an installed kyarm through kyarm::kyarm_cpp: the header-only
// interface compiles against the installed headers, an error code carries its family's
// meaning, and the library starts and stops. Prints the library version.
#include <cstdio>
#include <kyarm.hpp>

int main() {
    const std::error_code ec = ky::make_error_code<ky::family::motion>(-2);
    if (ec != ky::errc::timeout || ec.message().empty()) {
        std::fprintf(stderr, "use_kyarm_cpp: error codes do not map\n");
        return 1;
    }
    {
        ky::Library lib(1);
        auto robot = ky::Robot::connect("300.1.1.1", 8080);  // refused address: no network needed
        if (robot) {
            std::fprintf(stderr, "use_kyarm_cpp: a refused address connected\n");
            return 1;
        }
    }
    std::printf("kyarm %s\n", ky::Library::version());
    return 0;
}
