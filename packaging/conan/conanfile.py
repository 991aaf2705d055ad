"""Recipe for Conan 2, next to the source tree that it builds: conan create packaging/conan"""

import os
import re

from conan import ConanFile
from conan.errors import ConanInvalidConfiguration
from conan.tools.cmake import CMake, CMakeDeps, CMakeToolchain, cmake_layout
from conan.tools.files import copy, load


class QvPlatformRecipe(ConanFile):
    name = "qvplatform"
    description = "Platform layer of a real-time physics-simulation product"
    package_type = "shared-library"
    settings = "os", "arch", "compiler", "build_type"
    options = {"tools": [True, False]}
    default_options = {"tools": True, "boost/*:header_only": True}

    @property
    def _root(self):
        return os.path.join(self.recipe_folder, "..", "..")

    def set_version(self):
        text = load(self, os.path.join(self._root, "CMakeLists.txt"))
        self.version = re.search(r"VERSION (\d+\.\d+\.\d+\.\d+)", text).group(1)

    def export_sources(self):
        for pattern in ("CMakeLists.txt", "CHANGELOG.md", "README.md", "cmake/*", "include/*", "src/*", "qvp/*",
                        "packaging/*", "docs/*", "examples/*"):
            copy(self, pattern, self._root, self.export_sources_folder)

    def validate(self):
        if self.settings.os != "Linux" or self.settings.arch != "x86_64":
            raise ConanInvalidConfiguration("this recipe is for Linux x86-64")

    def requirements(self):
        self.requires("boost/[>=1.74]")
        self.requires("onetbb/[>=2021.8]")
        self.requires("elfutils/[>=0.188]")  # headers of libdw, which is opened at run time
        if self.options.tools:
            self.requires("cli11/[>=2.1]")
            self.requires("nlohmann_json/[>=3.11]")

    def layout(self):
        cmake_layout(self)

    def generate(self):
        toolchain = CMakeToolchain(self)
        toolchain.cache_variables["QV_BUILD_TESTS"] = False
        toolchain.cache_variables["QV_BUILD_EXAMPLES"] = False
        toolchain.cache_variables["QV_BUILD_TOOLS"] = bool(self.options.tools)
        toolchain.generate()
        CMakeDeps(self).generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        CMake(self).install()

    def package_info(self):
        # The package's own CMake files are used: they bring qv_add_plugin.
        self.cpp_info.set_property("cmake_find_mode", "none")
        self.cpp_info.builddirs.append(os.path.join("lib", "cmake", "QvPlatform"))
        self.cpp_info.libs = ["QvPlatform"]
