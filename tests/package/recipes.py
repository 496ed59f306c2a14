#!/usr/bin/env python3
"""Reads the recipes as their systems would, as far as Debian has what they are read with: Buildroot's by kconfiglib and
make, among the conditions that Buildroot's own packages have, and Yocto's by a reader of the little of BitBake's language
that it uses. recipes.py OPTIONS prints what each gives to CMake; recipes.py FILES ROOT fails if Yocto would leave out or
pack twice a file that is installed there."""

import fnmatch
import hashlib
import itertools
import os
import pathlib
import re
import subprocess
import sys
import tempfile

import kconfiglib

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILDROOT = ROOT / "packaging/buildroot"
YOCTO = ROOT / "packaging/yocto"
PACKAGE = BUILDROOT / "package/ztapi-os-abs"

# The toolchain that the package asks for, and what Buildroot's packages ask for.
TOOLCHAIN = {"INSTALL_LIBSTDCPP": "y", "USE_WCHAR": "y", "TOOLCHAIN_HAS_THREADS": "y", "USE_MMU": "y",
             "TOOLCHAIN_SUPPORTS_ALWAYS_LOCKFREE_ATOMIC_INTS": "y", "TOOLCHAIN_HAS_GCC_BUG_64735": "n",
             "TOOLCHAIN_GCC_AT_LEAST_11": "y", "TOOLCHAIN_USES_GLIBC": "y", "STATIC_LIBS": "n",
             "PACKAGE_BUSYBOX": "y"}
OTHERS = {"BOOST": "INSTALL_LIBSTDCPP && BR2_TOOLCHAIN_HAS_THREADS && BR2_USE_WCHAR",
          "BOOST_THREAD": "PACKAGE_BOOST && BR2_TOOLCHAIN_SUPPORTS_ALWAYS_LOCKFREE_ATOMIC_INTS && "
                          "!BR2_TOOLCHAIN_HAS_GCC_BUG_64735",
          "ZLIB": "USE_MMU || BR2_USE_WCHAR || y",
          "NET_TOOLS": "USE_MMU && !BR2_PACKAGE_BUSYBOX",
          "PSMISC": "USE_MMU && !BR2_PACKAGE_BUSYBOX",
          "BUBBLEWRAP": "USE_MMU && BR2_TOOLCHAIN_HAS_THREADS",
          "CLI11": "INSTALL_LIBSTDCPP", "JSON_FOR_MODERN_CPP": "INSTALL_LIBSTDCPP"}


def configuration(values: dict[str, str]) -> kconfiglib.Kconfig:
    with tempfile.NamedTemporaryFile("w", suffix=".in") as file:
        for name, value in values.items():
            file.write(f"config BR2_{name}\n\tdef_bool {value}\n")
        for name, condition in OTHERS.items():
            file.write(f"config BR2_PACKAGE_{name}\n\tbool \"{name}\"\n\tdepends on BR2_{condition}\n")
        file.write(f'source "{BUILDROOT}/Config.in"\n')
        file.flush()
        os.environ.update(BR2_EXTERNAL_ZTAPI_OS_ABS_PATH=str(BUILDROOT), srctree="/")
        read = kconfiglib.Kconfig(file.name, warn_to_stderr=False)
    assert not read.warnings, read.warnings
    return read


def comments(read: kconfiglib.Kconfig) -> list[str]:
    return [node.prompt[0] for node in read.node_iter()
            if node.item == kconfiglib.COMMENT and kconfiglib.expr_value(node.prompt[1])]


def check_config() -> None:
    for busybox, tools in itertools.product("yn", repeat=2):
        read = configuration({**TOOLCHAIN, "PACKAGE_BUSYBOX": busybox})
        read.syms["BR2_PACKAGE_ZTAPI_OS_ABS"].set_value("y")
        read.syms["BR2_PACKAGE_ZTAPI_OS_ABS_TOOLS"].set_value(tools)
        chosen = [symbol for symbol in read.unique_defined_syms if symbol.str_value == "y"]
        unmet = [symbol.name for symbol in chosen if not kconfiglib.expr_value(symbol.direct_dep)]
        assert not unmet, f"selected without what they depend on: {unmet}"
        names = {symbol.name for symbol in chosen}
        assert {"BR2_PACKAGE_ZTAPI_OS_ABS", "BR2_PACKAGE_BOOST_THREAD"} <= names
        assert ("BR2_PACKAGE_PSMISC" in names) == ("BR2_PACKAGE_NET_TOOLS" in names) == (busybox == "n")
        assert ("BR2_PACKAGE_BUBBLEWRAP" in names) == (tools == "y")
        assert comments(read) == []
    for name, value in TOOLCHAIN.items():
        if name == "PACKAGE_BUSYBOX":
            continue
        read = configuration({**TOOLCHAIN, name: "n" if value == "y" else "y"})
        read.syms["BR2_PACKAGE_ZTAPI_OS_ABS"].set_value("y")
        assert read.syms["BR2_PACKAGE_ZTAPI_OS_ABS"].str_value == "n", f"is offered whatever {name} is"
        silent = name in ("USE_MMU", "TOOLCHAIN_SUPPORTS_ALWAYS_LOCKFREE_ATOMIC_INTS")
        assert bool(comments(read)) != silent, f"{name}: {comments(read)}"


def variables(tools: str) -> dict[str, str]:
    """What make reads of Buildroot's recipe."""
    names = ["VERSION", "SITE", "SITE_METHOD", "LICENSE", "LICENSE_FILES", "DEPENDENCIES", "CONF_OPTS"]
    text = "qstrip = $(strip $(subst \",,$(1)))\ncmake-package =\n" \
        f"include {PACKAGE}/ztapi-os-abs.mk\nall:\n" + "".join(
            f"\t@echo '{name}=$(strip $(ZTAPI_OS_ABS_{name}))'\n" for name in names)
    done = subprocess.run(
        ["make", "-rsf", "-", "all", f"BR2_EXTERNAL_ZTAPI_OS_ABS_PATH={BUILDROOT}",
         f"BR2_PACKAGE_ZTAPI_OS_ABS_TOOLS={tools}", 'BR2_PACKAGE_ZTAPI_OS_ABS_EEPROM_UNLOCK_SEED="0x00000000"',
         'BR2_PACKAGE_ZTAPI_OS_ABS_EEPROM_UNLOCK_KEY="000000"'],
        input=text, text=True, check=True, capture_output=True)
    return dict(line.split("=", 1) for line in done.stdout.splitlines())


def digest(kind: str) -> str:
    return hashlib.new(kind, (ROOT / "LICENSE").read_bytes()).hexdigest()


def check_makefile() -> None:
    read = variables("y")
    assert (pathlib.Path(read["SITE"]).resolve(), read["SITE_METHOD"]) == (ROOT, "local"), read
    assert read["DEPENDENCIES"] == "boost zlib cli11 json-for-modern-cpp", read
    assert variables("")["DEPENDENCIES"] == "boost zlib"
    hashes = (PACKAGE / "ztapi-os-abs.hash").read_text().splitlines()
    assert f"sha256  {digest('sha256')}  {read['LICENSE_FILES']}" in hashes, hashes


class Recipe:
    """Assignments, functions and classes of a BitBake recipe."""

    def __init__(self, path: pathlib.Path) -> None:
        self.values: dict[str, str] = {}
        self.functions: dict[str, str] = {}
        self.classes: list[str] = []
        self.read(path)

    def read(self, path: pathlib.Path) -> None:
        text = path.read_text().replace("\\\n", "")
        for name, body in re.findall(r"(?ms)^(\w+)\(\) \{\n(.*?)^\}\n", text):
            self.functions[name] = body
        text = re.sub(r"(?ms)^\w+\(\) \{\n.*?^\}\n", "", text)
        for line in filter(None, (line.split("#")[0].strip() for line in text.splitlines())):
            if found := re.fullmatch(r'([\w:${}\[\]-]+) *(\?\?=|\?=|=\+|=) *"(.*)"', line):
                name, operator, value = found.groups()
                if operator == "=+":
                    value += " " + self.values.get(name, "")
                if operator not in ("?=", "??=") or name not in self.values:
                    self.values[name] = value
            elif line.startswith("inherit "):
                self.classes += line.split()[1:]
            elif line.startswith("require "):
                self.read(path.parent / line.split()[1])
            else:
                raise ValueError(f"{path}: {line}")

    def expand(self, name: str, **given: str) -> str:
        text = self.values[name]
        while names := re.findall(r"\$\{(\w+)\}", text):
            for word in names:
                text = text.replace(f"${{{word}}}", given.get(word) or self.values[word])
        return text


PLACES = {"PN": "ztapi-os-abs", "bindir": "/usr/bin", "libdir": "/usr/lib", "nonarch_libdir": "/usr/lib",
          "datadir": "/usr/share", "includedir": "/usr/include", "SOLIBS": ".so.*", "THISDIR": "."}


def recipe() -> Recipe:
    (path,) = (YOCTO / "recipes-support/ztapi-os-abs").glob("*.bb")
    return Recipe(path)


def check_recipe() -> None:
    read = recipe()
    assert read.values["LIC_FILES_CHKSUM"] == f"file://LICENSE;md5={digest('md5')}"
    assert read.values["LICENSE"] == "MIT"
    assert {"cmake", "ptest"} <= set(read.classes)
    assert read.values["RDEPENDS:ztsim"] == "bubblewrap"
    assert read.expand("RDEPENDS:${PN}") == "net-tools psmisc"
    assert (YOCTO / "README.md").is_file(), "each layer has one"


def check_files(installed: pathlib.Path) -> None:
    """Packages take files in their order; what none takes is an error of the build."""
    read = recipe()
    patterns = {name: read.expand(f"FILES:{name}", **PLACES).split()
                for name in ("libztapi-utility", "${PN}-tools", "ztsim")}
    # Those that every recipe has, in BitBake's configuration.
    patterns["${PN}-src"] = []
    patterns["${PN}-staticdev"] = ["/usr/lib/*.a"]
    patterns["${PN}-dev"] = ["/usr/include", "/usr/lib/lib*.so", "/usr/lib/pkgconfig", "/usr/lib/cmake"]
    patterns["${PN}-doc"] = ["/usr/share/doc", "/usr/share/man"]
    patterns["${PN}"] = ["/usr/lib/lib*.so.*"]
    left = []
    for path in sorted(path for path in installed.rglob("*") if not path.is_dir()):
        name = "/" + str(path.relative_to(installed))
        taken = [package for package, globs in patterns.items()
                 if any(fnmatch.fnmatch(name, glob) or name.startswith(glob + "/") for glob in globs)]
        if not taken:
            left.append(name)
    assert not left, f"in no package: {left}"


def main(arguments: list[str]) -> None:
    if arguments[:1] == ["OPTIONS"]:
        print(variables("y")["CONF_OPTS"])
        print(recipe().expand("EXTRA_OECMAKE"), recipe().values["PACKAGECONFIG[tools]"].split(",")[0])
    elif arguments[:1] == ["FILES"]:
        check_files(pathlib.Path(arguments[1]))
    else:
        check_config()
        check_makefile()
        check_recipe()


main(sys.argv[1:])
