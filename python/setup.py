"""Builds the extension with CMake: the library's sources come from the
repository's own source lists and are compiled with its arithmetic flags."""

import os
import subprocess
import sys
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

HERE = Path(__file__).resolve().parent


class CMakeExtension(Extension):
    def __init__(self, name: str):
        super().__init__(name, sources=[])


class CMakeBuild(build_ext):
    def build_extension(self, ext: Extension) -> None:
        import pybind11

        out_dir = Path(self.get_ext_fullpath(ext.name)).parent.resolve()
        build_dir = Path(self.build_temp).resolve() / "cmake"
        build_dir.mkdir(parents=True, exist_ok=True)
        config = os.environ.get("RZF_PY_BUILD_TYPE", "Release")
        subprocess.run(
            [
                "cmake", "-S", str(HERE), "-B", str(build_dir),
                f"-DCMAKE_BUILD_TYPE={config}",
                f"-DPython3_EXECUTABLE={sys.executable}",
                f"-Dpybind11_DIR={pybind11.get_cmake_dir()}",
                f"-DCMAKE_LIBRARY_OUTPUT_DIRECTORY={out_dir}",
            ],
            check=True,
        )
        jobs = os.environ.get("CMAKE_BUILD_PARALLEL_LEVEL", "2")
        subprocess.run(
            ["cmake", "--build", str(build_dir), "--target", "_core", "-j", jobs], check=True
        )


setup(
    ext_modules=[CMakeExtension("rzfilterfunc._core")],
    cmdclass={"build_ext": CMakeBuild},
)
