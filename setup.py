"""Install hook of the Python package: the metadata is in pyproject.toml.

At build time the package takes the library along: libpdfbriks.so already inside
python/pdfbriks/, else build/libpdfbriks.so of this checkout when it has been built; and it
records the checkout's path, so an installed package can still find build/libpdfbriks.so later.
"""
import os
import shutil

from setuptools import setup
from setuptools.command.build_py import build_py

ROOT = os.path.dirname(os.path.abspath(__file__))


class BuildWithLibrary(build_py):
    def run(self):
        super().run()
        target = os.path.join(self.build_lib, "pdfbriks")
        built = os.path.join(ROOT, "build", "libpdfbriks.so")
        if not os.path.exists(os.path.join(target, "libpdfbriks.so")) and os.path.isfile(built):
            shutil.copy2(built, os.path.join(target, "libpdfbriks.so"))
        with open(os.path.join(target, "_build_info.py"), "w") as f:
            f.write(f"CHECKOUT = {ROOT!r}\n")


setup(cmdclass={"build_py": BuildWithLibrary})
