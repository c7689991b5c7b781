# SPDX-License-Identifier: Apache-2.0
"""Builds the checkout in which this recipe lies, for Conan 2."""

import os
import re

from conan import ConanFile
from conan.tools.build import check_min_cppstd
from conan.tools.cmake import CMake, CMakeToolchain, cmake_layout
from conan.tools.files import copy, load


class GasConan(ConanFile):
    name = "gas"
    description = "Acceleration structures for ray tracing in renderers"
    license = "Apache-2.0"
    topics = ("ray-tracing", "bvh", "rendering")
    package_type = "library"
    settings = "os", "arch", "compiler", "build_type"
    options = {"shared": [True, False], "fPIC": [True, False]}
    default_options = {"shared": False, "fPIC": True}
    implements = ["auto_shared_fpic"]

    @property
    def _root(self):
        return os.path.join(self.recipe_folder, "..", "..")

    def set_version(self):
        text = load(self, os.path.join(self._root, "CMakeLists.txt"))
        self.version = re.search(r"^\s*VERSION (\S+)$", text, re.M).group(1)

    def export_sources(self):
        for pattern in (
            "CMakeLists.txt", "*.md", "LICENSE", "cmake/*", "docs/*", "examples/*", "gas/*",
        ):
            copy(self, pattern, self._root, self.export_sources_folder)

    def layout(self):
        cmake_layout(self)

    def validate(self):
        check_min_cppstd(self, 17)

    def generate(self):
        toolchain = CMakeToolchain(self)
        for part in ("APP", "BENCH", "EXAMPLES", "TESTS"):
            toolchain.cache_variables[f"GAS_BUILD_{part}"] = False
        toolchain.generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        CMake(self).install()

    def package_info(self):
        # The library's own package files tell what it needs.
        self.cpp_info.set_property("cmake_find_mode", "none")
        self.cpp_info.builddirs = [os.path.join("lib", "cmake", "gas")]
        self.cpp_info.set_property("pkg_config_name", "none")
        self.cpp_info.libs = ["gas_easy", "gas_files", "gas", "gas_host"]
