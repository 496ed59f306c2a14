#!/usr/bin/env python3
"""What builds the libraries and the tools, installs them and finds them is to be read by CMake 3.16: fails for a
command, a keyword, a variable or a generator expression that is younger. The tests need 3.20, and the presets 3.25."""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
READ = ["CMakeLists.txt", "cmake/ZTTargets.cmake", "cmake/embed.cmake", "packaging", "src", "utility", "testkit",
        "tools", "examples", "tests/package"]
YOUNGER = {
    "3.17": r"CMAKE_CURRENT_FUNCTION|CHECK_(?:START|PASS|FAIL)|ZIP_LISTS|CMAKE_MESSAGE_CONTEXT_SHOW",
    "3.18": r"cmake_language|ARCHIVE_(?:CREATE|EXTRACT)|DISCOVERY_MODE|\bHEX\b|profiling|TARGET_DIRECTORY|"
            r"\bNO_CACHE\b|(?:DEVICE|HOST)_LINK|LINK_LANG|file\s*\(\s*CONFIGURE|XML_OUTPUT_DIR",
    "3.19": r"COMMAND_ERROR_IS_FATAL|\bJSON\b|REAL_PATH|\bCHMOD|separate_arguments\s*\([^)]*\bPROGRAM\b|"
            r"\bDEFER\b|ENV_VARS|CMAKE_CROSSCOMPILING_EMULATOR_",
    "3.20": r"cmake_path|COMMAND_CONFIG|OUTPUT_CONFIG|cxx_std_23",
    "3.21": r"PROJECT_IS_TOP_LEVEL|_IS_TOP_LEVEL\b(?<!ZT_IS_TOP_LEVEL)|COPY_FILE|IMPORTED_RUNTIME_ARTIFACTS|"
            r"RUNTIME_DEPENDENC|TARGET_RUNTIME_DLLS|EXPAND_TILDE|CMAKE_TOOLCHAIN_FILE_INIT|--toolchain",
    "3.22": r"ENVIRONMENT_MODIFICATION|cmake_host_system_information\s*\([^)]*DISTRIB|CMAKE_REQUIRE_FIND_PACKAGE",
    "3.23": r"FILE_SET|INITIALIZE_FROM_VARIABLE|HEADER_SETS",
    "3.24": r"PATH_EQUAL|OVERRIDE_FIND_PACKAGE|LINK_LIBRARY:|LINK_GROUP|COMPILE_WARNING_AS_ERROR|\$<PATH|"
            r"FIND_PACKAGE_ARGS|TLS_VERSION",
    "3.25": r"\bblock\s*\(|PROPAGATE|CMAKE_(?:LINUX|BSD)\b",
    "3.26": r"BUILD_LOCAL_INTERFACE|IMPORTED_CXX_MODULES",
}
LATE = re.compile(r"if\(CMAKE_VERSION VERSION_LESS (3\.[0-9]+)\)")


def files() -> list[pathlib.Path]:
    found = []
    for name in READ:
        path = ROOT / name
        found += [path] if path.is_file() else [*path.rglob("CMakeLists.txt"), *path.rglob("*.cmake")]
    return found


def younger(path: pathlib.Path) -> list[str]:
    text = re.sub(r"(?m)^\s*#.*$", "", path.read_text())
    asked = LATE.findall(text)
    return [f"{path.relative_to(ROOT)}: {word.group()} is of CMake {version}"
            for version, words in YOUNGER.items() if version not in asked
            for word in re.finditer(words, text)]


def main() -> int:
    said = [line for path in files() for line in younger(path)]
    print("\n".join(said), end="\n" if said else "")
    return bool(said)


if __name__ == "__main__":
    sys.exit(main())
