"""Tests of the installed package and of the wheel: they work without the build tree."""

import os
import subprocess
import sys
import sysconfig

import pytest

from conftest import PROJECT

BUILD = os.environ["ZANDREL_BUILD"]

USE = """
import sys
import zandrel
with zandrel.Classifier.open(sys.argv[1]) as classifier:
    print(classifier.classify("my parcel is lost")[0].name)
with open("/proc/self/maps") as maps:
    for line in sorted({line.split()[-1] for line in maps if "zandrel" in line}):
        print(line)
"""


def run(*command, **options):
    done = subprocess.run(
        list(map(str, command)), capture_output=True, text=True, timeout=200, **options
    )
    assert done.returncode == 0, done.stdout + done.stderr
    return done.stdout


def loaded_files(python, kc, folder, path=""):
    """Classifies in a new process, and returns the libraries of ours that it loads."""
    environment = {"PATH": os.environ["PATH"]}
    if path:
        environment["PYTHONPATH"] = str(path)
    answer, *files = run(python, "-B", "-c", USE, kc, env=environment, cwd=folder).splitlines()
    assert answer == "delivery"
    return [file for file in files if ".so" in file]


def test_installed_package_can_be_moved(tmp_path, shop_kc):
    stage = tmp_path / "stage"
    staged = {**os.environ, "DESTDIR": str(stage)}
    run("cmake", "--install", BUILD, "--prefix", "/opt/zandrel", env=staged)
    moved = tmp_path / "moved"
    (stage / "opt" / "zandrel").rename(moved)
    version = f"python{sys.version_info.major}.{sys.version_info.minor}"
    packages = moved / "lib" / version / "dist-packages"
    files = loaded_files(sys.executable, shop_kc, tmp_path, packages)
    assert len(files) == 3
    assert all(file.startswith(f"{moved}/") for file in files)
    typed = {path.name for path in (packages / "zandrel").iterdir()}
    sources = {path.name for path in (PROJECT / "python" / "zandrel").glob("*.*") if path.is_file()}
    assert typed == sources | {"_zandrel" + sysconfig.get_config_var("EXT_SUFFIX")}


def test_folder_below_usr_local_and_usr_is_searched():
    # Both are prefixes of an installation for Debian's interpreter.
    code = "import site; print(*site.getsitepackages(), sep='\\n')"
    searched = run("/usr/bin/python3", "-c", code).splitlines()
    version = f"python{sys.version_info.major}.{sys.version_info.minor}"
    assert f"/usr/local/lib/{version}/dist-packages" in searched
    assert f"/usr/lib/{version}/dist-packages" in searched


def test_wheel_works_in_a_virtual_environment(tmp_path, shop_kc):
    wheel = run(PROJECT / "script" / "wheel", BUILD, tmp_path / "wheels").strip()
    folder = tmp_path / "venv"
    run(sys.executable, "-m", "venv", "--system-site-packages", folder)
    python = folder / "bin" / "python"
    run(python, "-m", "pip", "install", "--no-index", "--no-deps", wheel)
    files = loaded_files(python, shop_kc, tmp_path)
    assert len(files) == 3
    assert all(file.startswith(f"{folder}/") for file in files)
    shown = run(python, "-m", "pip", "show", "zandrel")
    assert "Name: zandrel\n" in shown
    run(python, "-m", "pip", "uninstall", "--yes", "zandrel")
    environment = {"PATH": os.environ["PATH"]}
    command = [python, "-c", "import zandrel"]
    done = subprocess.run(command, cwd=tmp_path, env=environment, capture_output=True, text=True)
    assert "No module named 'zandrel'" in done.stderr
