#!/usr/bin/python3
"""Installs the build into a temporary prefix, moves the prefix elsewhere and,
from an unrelated folder and without the build tree's paths, builds the C
example through pkg-config and the CMake example through find_package, and
runs them and the installed ncoa. Usage: run.py BUILD_DIR SOURCE_DIR"""
import csv
import os
import shutil
import subprocess
import sys
import tempfile

build, source = (os.path.abspath(p) for p in sys.argv[1:3])
top = tempfile.mkdtemp(prefix="qvncoa-install-")
env = {k: v for k, v in os.environ.items() if k not in ("LD_LIBRARY_PATH", "QVNCOA_NAMEKB")}


def run(*cmd, cwd=None, extra=None):
    e = dict(env, **(extra or {}))
    r = subprocess.run(cmd, cwd=cwd, env=e, capture_output=True, text=True)
    if r.returncode != 0:
        sys.exit(f"FAILED: {' '.join(cmd)}\n{r.stdout}\n{r.stderr}")
    return r.stdout


try:
    run("cmake", "--install", build, "--prefix", os.path.join(top, "staged"))
    # Nothing may depend on the prefix given at install time.
    prefix = os.path.join(top, "moved")
    os.rename(os.path.join(top, "staged"), prefix)
    work = os.path.join(top, "work")
    os.mkdir(work)
    libdir = next(os.path.dirname(os.path.join(d, f)) for d, _, fs in os.walk(prefix) for f in fs
                  if f == "libqvncoa.so")
    for lib in ("libqvncoa", "libqvname", "libqvav"):
        assert os.path.islink(os.path.join(libdir, lib + ".so")), lib + ".so is not a link to the SONAME"
        assert os.path.islink(os.path.join(libdir, lib + ".so.0")), lib + ".so.0 missing"
    ncoa = os.path.join(prefix, "bin", "ncoa")
    kb = os.path.join(prefix, "share", "qvncoa", "namekb")
    assert os.path.isfile(os.path.join(kb, "surnames.txt"))
    for bin_ in (ncoa, os.path.join(libdir, "libqvncoa.so")):
        assert build.encode() not in open(bin_, "rb").read(), bin_ + " names the build tree"

    # The installed ncoa finds its knowledge base next to itself and says so.
    help_text = run(ncoa, "match", "--help", cwd=work)
    assert os.path.realpath(kb) in help_text and "QVNCOA_NAMEKB" in help_text, help_text
    run(ncoa, "dataset", "build", os.path.join(source, "data/sample/world.json"), "sample-data", cwd=work)
    run(ncoa, "match", "--data", "sample-data", "--in", os.path.join(source, "data/sample/list.csv"),
        "--out", "result.csv", cwd=work)
    with open(os.path.join(work, "result.csv"), newline="") as f:
        moved = [r for r in csv.DictReader(f) if r["ncoa_return_code"] == "A"]
    assert moved, "no record of the sample list moved"
    r = moved[0]
    args = ["sample-data", kb, r["Name"], r["Primary Number"], r["Secondary Number"], r["ZIP"] + r["ZIP4"]]
    want = "|".join([r["ncoa_return_code"], r["ncoa_address_line"], r["ncoa_last_line"]])

    pc = {"PKG_CONFIG_PATH": os.path.join(libdir, "pkgconfig")}
    flags = run("pkg-config", "--cflags", "--libs", "qvncoa", extra=pc).split()
    rpath = run("pkg-config", "--variable=libdir", "qvncoa", extra=pc).strip()
    run("cc", "-Wall", "-Werror", "-o", "lookup-pc", os.path.join(source, "examples/c/lookup.c"), *flags,
        "-Wl,-rpath," + rpath, cwd=work)
    got = run("./lookup-pc", *args, cwd=work).rstrip("\n")
    assert got == want, (got, want)

    shutil.copytree(os.path.join(source, "examples"), os.path.join(work, "examples"))
    run("cmake", "-S", "examples/cmake", "-B", "cmake-build", "-DCMAKE_PREFIX_PATH=" + prefix, cwd=work)
    run("cmake", "--build", "cmake-build", cwd=work)
    got = run("cmake-build/lookup", *args, cwd=work).rstrip("\n")
    assert got == want, (got, want)
    print("installed tree works from", prefix, "; one lookup:", got)
finally:
    shutil.rmtree(top, ignore_errors=True)
