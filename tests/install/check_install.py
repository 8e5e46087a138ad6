#!/usr/bin/python3
"""Makes the packages, unpacks them into a folder, and uses what is there as their users do."""
import argparse
import os
import pathlib
import re
import shutil
import signal
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
    check({"libcurl4", "libqt6positioning6-plugins"} < set(depends["libkorvani-qt0"].split(", ")),
          "what the phone loads by name comes with it")
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


def check_tools(prefix):
    """Each tells its version, refuses what it does not know, has a manual page, and is completed."""
    version = re.search(r'_STRING "(.*)"', (ROOT / "korvani/sdk/version.h").read_text())[1]
    for tool in sorted((prefix / "bin").iterdir()):
        name = tool.name
        check(run(tool, "--version") == f"{name} {version}\n", f"{name} tells its version")
        refused = subprocess.run([tool, "--none"], capture_output=True)
        check(refused.returncode == 2 and refused.stderr and not refused.stdout, f"{name} refuses")
        page = (prefix / f"share/man/man1/{name}.1").read_text()
        check(f"{name} \\- " in page and "\\-\\-version" in page, f"{name} has a manual page")
        found = run("bash", "-c", f"""source /usr/share/bash-completion/bash_completion
            source {prefix}/share/bash-completion/completions/{name}
            complete -p {name}
            COMP_WORDS=({tool} --vers) COMP_CWORD=1 COMP_LINE='{tool} --vers' COMP_POINT=${{#COMP_LINE}}
            _longopt {tool} --vers {tool}; echo "${{COMPREPLY[@]}}" """)
        check(found == f"complete -F _longopt {name}\n--version\n", f"{name} is completed: {found}")


def reader(prefix, folder):
    """What somebody has who installed the packages, and knows nothing else of this machine."""
    settings = dict(HOME=folder, XDG_CONFIG_HOME=folder / "config", XDG_RUNTIME_DIR=folder,
                    PATH=f"{prefix}/bin:{os.environ['PATH']}", LD_LIBRARY_PATH=prefix / "lib",
                    CMAKE_PREFIX_PATH=prefix, PKG_CONFIG_PATH=prefix / "lib/pkgconfig",
                    QT_QPA_PLATFORM="xcb", QTWEBENGINE_DISABLE_SANDBOX="1", no_proxy="*")
    return os.environ | {name: str(value) for name, value in settings.items()}


def make_files(guide, folder):
    """Those that the guide shows under their names; returns the guide's text."""
    text = (ROOT / "docs" / guide).read_text()
    folder.mkdir()
    for name, content in re.findall(r"`([\w.]+)`:\n\n```\w+\n(.*?)^```$", text, re.M | re.S):
        (folder / name).write_text(content)
    return text


def check_embedding(folder):
    make_files("building.md", folder)
    run("cmake", "-G", "Ninja", "-B", "build", f"-DFETCHCONTENT_SOURCE_DIR_KORVANI={ROOT}", cwd=folder)
    run("cmake", "--build", "build", cwd=folder)
    asked = run(folder / "build/kiosk")
    check(asked == "http://127.0.0.1:8780/configuration\n", f"the embedded kit asks, not {asked}")
    check(not (folder / "build/_deps/korvani-build/bin").exists(), "no program of ours is built")


def follow(guide, folder):
    """Makes its files, and returns its commands."""
    text = make_files(guide, folder)
    commands = "".join(re.findall(r"^```sh\n(.*?)^```$", text, re.M | re.S))
    check(commands, f"{guide} has commands")
    return ["bash", "-ec", "trap 'jobs -p | xargs -r kill' EXIT\n" + commands]


def check_testing(prefix, folder):
    run(*follow("testing.md", folder), cwd=folder, env=reader(prefix, folder))
    check("Qt" not in run("ldd", folder / "build/shop_test"), "a host of the core has nothing of Qt")


def check_start(prefix, folder):
    """On a desktop whose user opens each notification, until the page and the confirmation have
    reached the service."""
    commands = follow("start.md", folder)
    click = folder / "click"
    click.write_text("#!/bin/sh\nexec dunstctl action\n")
    click.chmod(0o755)
    dunst = folder / "config/dunst"
    dunst.mkdir(parents=True)
    (dunst / "dunstrc").write_text(f'[all]\nsummary = "*"\nscript = {click}\n')
    missing, said = {"hello.html", "confirm"}, ""
    with subprocess.Popen(["xvfb-run", "--auto-servernum", "dbus-run-session", *commands],
                          cwd=folder, env=reader(prefix, folder), start_new_session=True, text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT) as session:
        while missing and (line := session.stdout.readline()):
            missing -= {name for name in missing if f'"endpoint":"{name}"' in line}
            said += line
        os.killpg(session.pid, signal.SIGTERM)
    check(not missing, f"the service is asked for {missing}:\n{said}")


def check_examples(prefix, folder):
    """The hosts that come with the packages, and one of them built without CMake, ask a service.
    Without Qt the rest is found."""
    shutil.copytree(prefix / "share/doc/korvani/examples", folder)
    (folder / "core").mkdir()
    (folder / "core/CMakeLists.txt").write_text("""cmake_minimum_required(VERSION 3.25)
project(core LANGUAGES CXX)
find_package(Korvani REQUIRED COMPONENTS Simulator OPTIONAL_COMPONENTS Qt)
""")
    here = dict(cwd=folder, env=reader(prefix, folder) | {"QT_QPA_PLATFORM": "offscreen"})
    run("cmake", "-DCMAKE_DISABLE_FIND_PACKAGE_Qt6=ON", "-S", "core", "-B", "without-qt", **here)
    run("bash", "-ec", "cmake . && cmake --build . && g++ -std=c++20 -fPIC widgets_host.cpp "
        "-o by-pkg-config $(pkg-config --cflags --libs korvani-qt)", **here)
    for host in ("korvani_widgets_host", "korvani_quick_host", "by-pkg-config"):
        with subprocess.Popen([folder / host], stderr=subprocess.PIPE, text=True, **here) as running:
            check(any("request" in line for line in running.stderr), f"{host} asks a service")
            running.terminate()


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
        check_tools(prefix)
        check_embedding(folder / "embedding")
        check_testing(prefix, folder / "testing")
        check_examples(prefix, folder / "examples")
        check_start(prefix, folder / "start")


if __name__ == "__main__":
    main()
