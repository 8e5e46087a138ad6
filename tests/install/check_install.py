#!/usr/bin/python3
"""Makes the packages, unpacks them into a folder, and uses what is there as their users do."""
import argparse
import os
import pathlib
import re
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parent.parent
WARNINGS = ["-Wall", "-Wextra", "-Wpedantic", "-Wshadow", "-Wconversion", "-Werror"]


def run(*command, **options):
    result = subprocess.run([str(part) for part in command], text=True, stdout=subprocess.PIPE,
                            stderr=subprocess.STDOUT, **options)
    if result.returncode != 0:
        sys.exit(f"failed: {' '.join(map(str, command))}\n{result.stdout}")
    return result.stdout


def check(holds, text):
    if not holds:
        sys.exit(f"not true: {text}")


def unpack(build, packages, prefix):
    """The packages that the build makes, and what each depends on."""
    run("cpack", "--config", build / "CPackConfig.cmake", "-B", packages, cwd=build)
    depends = {}
    for package in packages.glob("**/*.deb"):
        if "_CPack_Packages" in package.parts:
            continue
        run("dpkg-deb", "-x", package, prefix)
        name = run("dpkg-deb", "-f", package, "Package").strip()
        depends[name] = run("dpkg-deb", "-f", package, "Depends")
    return depends


def check_packages(depends):
    check(set(depends) == {"libkorvani0", "libkorvani-qt0", "libkorvani-web0", "libkorvani-dev",
                           "korvani-tools"}, "there are these five packages")
    check("qt" not in depends["libkorvani0"].lower(), "the core needs nothing of Qt")
    check("webengine" not in depends["libkorvani-qt0"], "only the plug-in needs the web engine")
    check("webengine" in depends["libkorvani-web0"], "the plug-in needs the web engine")


def check_exports(libraries):
    """A symbol that comes or goes is a change of the interface: the list says so."""
    for library in ("libkorvani", "libkorvani-simulator", "libkorvani-qt"):
        listed = run("nm", "--dynamic", "--defined-only", "--demangle", "--format=posix",
                     libraries / f"{library}.so.0")
        now = sorted(line.split("@@")[0] for line in listed.splitlines()
                     if re.search(r"@@KORVANI_0 [TVWBDR] ", line))
        expected = (HERE / f"{library}.symbols").read_text().splitlines()
        check(now == expected, f"{library} exports what its list says:\n  " + "\n  ".join(
            [f"- {line}" for line in expected if line not in now] +
            [f"+ {line}" for line in now if line not in expected]))


def check_static_constructors(library):
    """The C runtime's own is the one that stays."""
    size = re.search(r"\.init_array\s+INIT_ARRAY\s+\S+ \S+ (\S+)",
                     run("readelf", "--sections", "--wide", library))
    check(size and int(size[1], 16) == 8, "the core library has no static constructor")


def check_headers(include):
    qt = run("pkg-config", "--cflags", "Qt6Core", "Qt6Widgets").replace("-I", "-isystem ").split()
    for header in sorted(include.glob("korvani/**/*.h")):
        source = f"#include <{header.relative_to(include)}>\n"
        for compiler in ("g++", "clang++"):
            run(compiler, "-std=c++20", "-fPIC", "-fsyntax-only", *WARNINGS, f"-I{include}", *qt,
                "-x", "c++", "-", input=source)


def check_hosts(prefix, folder):
    """By find_package and by pkg-config; the host of the core alone brings nothing of Qt along."""
    environment = dict(os.environ, PKG_CONFIG_PATH=str(prefix / "lib/pkgconfig"))
    run("cmake", "-S", HERE, "-B", folder / "found", "-G", "Ninja", f"-DCMAKE_PREFIX_PATH={prefix}",
        f"-DEXAMPLES={ROOT / 'examples'}")
    run("cmake", "--build", folder / "found")
    check("Qt" not in run("ldd", folder / "found/core_host"), "a host of the core has nothing of Qt")
    print(run(folder / "found/core_host"), end="")
    flags = run("pkg-config", "--cflags", "--libs", "korvani-qt", env=environment).split()
    run("g++", "-std=c++20", "-fPIC", ROOT / "examples/widgets_host.cpp", "-o",
        folder / "widgets_host", *flags, f"-Wl,-rpath,{prefix}/lib")
    for host in (folder / "found/widgets_host", folder / "widgets_host"):
        starts_and_ends(host, folder)
    run(prefix / "bin/korvani-replay", "--help")


def starts_and_ends(host, folder):
    """Until the kit has said something; the service is not there, which it says."""
    environment = dict(os.environ, QT_QPA_PLATFORM="offscreen", XDG_CONFIG_HOME=str(folder / "home"),
                       no_proxy="*", DBUS_SESSION_BUS_ADDRESS="unix:path=/nowhere",
                       DBUS_SYSTEM_BUS_ADDRESS="unix:path=/nowhere")
    process = subprocess.Popen([host], env=environment, stderr=subprocess.PIPE, text=True)
    said = any("request configuration" in line for line in process.stderr)
    process.terminate()
    process.wait()
    check(said, f"{host} asks for its configuration")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("build", type=pathlib.Path)
    build = parser.parse_args().build.resolve()
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        check_packages(unpack(build, folder / "packages", folder / "root"))
        prefix = folder / "root/usr"
        check_exports(prefix / "lib")
        check_static_constructors(prefix / "lib/libkorvani.so.0")
        check_headers(prefix / "include")
        check_hosts(prefix, folder)


if __name__ == "__main__":
    main()
