"""The recipe for Conan 2. Not run where this is developed: see ../README.md."""
import re
from pathlib import Path

from conan import ConanFile
from conan.errors import ConanInvalidConfiguration
from conan.tools.cmake import CMake, CMakeDeps, CMakeToolchain, cmake_layout
from conan.tools.files import copy

ROOT = Path(__file__).resolve().parents[2]


class QeCore(ConanFile):
    name = "qecore"
    description = "Core runtime of a family of graphics applications"
    license = "MIT"
    package_type = "shared-library"
    settings = "os", "compiler", "build_type", "arch"
    requires = "cli11/[>=2]", "stb/[*]", "zlib/[>=1.2]"

    def set_version(self):
        header = (ROOT / "include/qecore/core/version.h").read_text(encoding="utf-8")
        self.version = ".".join(re.findall(r"^#define QECORE_VERSION_(?:MAJOR|MINOR|PATCH) (\d+)$", header, re.MULTILINE))

    def export_sources(self):
        for pattern in ("CMakeLists.txt", "LICENSE", "SECURITY.md", "benchmarks/*", "cmake/*", "examples/*", "include/*",
                        "packaging/*", "plugins/*", "src/*", "templates/*", "tools/*"):
            copy(self, pattern, ROOT, self.export_sources_folder)

    def validate(self):
        if self.settings.os != "Windows" or self.settings.arch != "x86_64":
            raise ConanInvalidConfiguration("qeCore is a library for 64-bit Windows")

    def layout(self):
        cmake_layout(self)

    def generate(self):
        CMakeDeps(self).generate()
        toolchain = CMakeToolchain(self)
        toolchain.cache_variables["QECORE_BUILD_TESTS"] = "OFF"
        toolchain.generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        CMake(self).install()

    def package_info(self):
        self.cpp_info.libs = ["qeCore"]
        self.cpp_info.set_property("cmake_file_name", "qeCore")
        self.cpp_info.set_property("cmake_target_name", "qeCore::qeCore")
        self.cpp_info.set_property("pkg_config_name", "qeCore")
