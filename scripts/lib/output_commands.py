"""The frames and the commands by which scripts/compare-outputs compares two builds of the program.

Commands are for the shell, in a folder of their own, where `data` has the frames.
"""
import bz2
import gzip
import itertools
import pathlib
import struct
import subprocess
import sys

WRITTEN = ["png", "edf", "tif", "img", "mar", "pck", "raw", "npy"]
READ = ["marccd", "tiff", "adsc", "edf", "saint", "mar345", "packed", "raw"]
SUBCOMMANDS = ["info", "convert", "view", "diff", "sample", "completion", "manual", "licenses"]

# Seeds of the fuzzers that are whole files, and how many bytes stand in front of the file.
SEEDS = {"load_frame": 3, "read_bnl": 0, "read_tiff": 0, "new_read_pck": 0}


# ----------------------------------------------------------------------------------------------------------------------
# Frames
# ----------------------------------------------------------------------------------------------------------------------

def add_seeds(data):
    folder = data.parent / "seeds"
    subprocess.run([sys.executable, pathlib.Path(__file__).with_name("fuzz_seeds.py"), folder], check=True)
    for target, prefix in SEEDS.items():
        for seed in sorted((folder / target).iterdir()):
            (data / f"{target}.{seed.name}").write_bytes(seed.read_bytes()[prefix:])


def add_made(data, program):
    """What the program makes itself."""
    def run(*arguments):
        subprocess.run([program, *arguments], cwd=data, check=True, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL)

    for size, seed in ((64, 1), (300, 2), (301, 3)):
        run("sample", f"sample{size}.mar2300", "--size", str(size), "--seed", str(seed))
    for ending in WRITTEN:
        run("convert", "sample300.mar2300", "-o", f"made.{ending}", "--crop", "20,30,101,90")
    for ending in ("edf", "img", "raw"):
        run("convert", "sample300.mar2300", "-o", f"made32.{ending}", "--crop", "150,150,70,80", "--bits", "32")


def add_spoilt(data):
    """Compressed, cut, damaged and misnamed files."""
    frame = (data / "sample64.mar2300").read_bytes()
    image = (data / "made.edf").read_bytes()
    files = {
        "packed.mar2300.gz": gzip.compress(frame, mtime=0), "packed.edf.bz2": bz2.compress(image),
        "cut.mar2300": frame[:-200], "cut_header.mar2300": frame[:700], "cut.edf": image[:-1001],
        "cut.mar2300.gz": gzip.compress(frame, mtime=0)[:-900], "cut.edf.bz2": bz2.compress(image)[:-700],
        "damaged.mar2300": frame[:5000] + bytes(100) + frame[5100:], "damaged.tif": (data / "made.tif").read_bytes()[:900],
        "edf.mar2300": image, "empty": b"", "text": b"no frame\n", "words.raw": struct.pack("<64H", *range(0, 64000, 1000)),
        "name with blanks & 'quotes'.mar2300": frame, "-dash.mar2300": frame,
        "negative.edf": b"{\nDim_1 = 4 ;\nDim_2 = 2 ;\nDataType = SignedInteger ;\nByteOrder = LowByteFirst ;\n}\n" +
                        struct.pack("<8i", -5, 0, 70000, -2**31, 2**31 - 1, 3, 4, 9),
        "large.edf": b"{\nDim_1 = 4 ;\nDim_2 = 2 ;\nDataType = UnsignedInteger ;\nByteOrder = LowByteFirst ;\n}\n" +
                     struct.pack("<8I", 2**32 - 1, 2**31, 65536, 65535, 256001, 0, 16777216, 1),
        "lines": b"data/sample64.mar2300\n\ndata/made.edf\r\ndata/missing\n",
        "nuls": b"data/sample64.mar2300\0data/made.tif\0",
    }
    for name, content in files.items():
        (data / name).write_bytes(content)


def make_frames(data, program, samples):
    data.mkdir()
    add_seeds(data)
    add_made(data, program)
    add_spoilt(data)
    for sample in samples:
        (data / f"real.{sample.name}").write_bytes(sample.read_bytes())


# ----------------------------------------------------------------------------------------------------------------------
# Commands
# ----------------------------------------------------------------------------------------------------------------------

def helps():
    for options in ("", "--help", "--help-all", "--version", "manual", "completion bash", "completion zsh", "licenses"):
        yield f"xrdimage {options}".strip()
    for subcommand in SUBCOMMANDS:
        yield f"xrdimage {subcommand} --help"
        yield f"xrdimage {subcommand} --help-all"


def quoted(path):
    return "'" + str(path).replace("'", "'\\''") + "'"


def reading(files):
    """Each file by each way to look at it."""
    for file in files:
        for options in ("", "--json", "--csv", "--classic --size 4x3", "-v --force", "--json --force --size 4x3"):
            yield f"xrdimage info {options} {file}"
        yield f"xrdimage convert {file} -o out.edf --bits 32"
        yield f"xrdimage convert --classic --size 4x3 {file} -o out.edf"
        yield f"xrdimage view --terminal {file}"
        yield f"xrdimage diff {file} data/made.edf"
    for keyword, file in itertools.product(READ, ("data/made.tif", "data/sample64.mar2300", "data/words.raw")):
        yield f"xrdimage info --format {keyword} {file}"
        yield f"xrdimage info --format {keyword} --classic --size 8x8 {file}"
    for options in ("--size 8x8", "--size 4x4 --skip 96", "--size 8x16 --depth 8", "--size 8x4 --depth 32 --big-endian",
                    "--size 8x8 --big-endian", "--size 9x9", "--size 9x9 --force", "--depth 16 --format raw",
                    "--size 8x8 --wavelength 1 --distance 100 --pixel 0.1,0.2 --beam 3,4"):
        yield f"xrdimage info {options} data/words.raw"
        yield f"xrdimage convert {options} data/words.raw -o out.mar"


def writing(files):
    for file, ending in itertools.product(files, WRITTEN):
        yield f"xrdimage convert {file} -o out.{ending}"
    for ending, bits in itertools.product(WRITTEN, (16, 32)):
        for file in ("data/made.edf", "data/large.edf", "data/negative.edf"):
            yield f"xrdimage convert {file} -o out.{ending} --bits {bits}"
    for ending in WRITTEN:
        yield f"xrdimage convert data/made.edf -o out --to {ending}"
        yield f"xrdimage convert data/sample64.mar2300 -o out.{ending} --beam 1,2 --wavelength 0.7 --distance 9.5 --pixel 0.2"
        yield f"xrdimage convert data/sample64.mar2300 -o out.{ending} && xrdimage info out.{ending}"


def operating():
    operations = ["--bin 2", "--bin 7", "--crop 3,4,50,40", "--fit 80x20", "--fit 500x400", "--rotate", "--smooth 2",
                  "--smooth 3,1", "--mean 1", "--mean 4", "--log 10", "--log 2", "--invert", "--scale-up", "--scale-to 1000",
                  "--scale-to 0", "--to-16-bits", "--swap-words", "--box 30,30,5,6,7,8", "--box 30,30,5,6,7,8,2",
                  "--cross 20,25", "--cross 20,25,3", "--bin 2 --rotate --crop 1,1,9,9", "--rotate --rotate --smooth 1 --bin 3",
                  "--invert --invert"]
    frames = ["data/sample64.mar2300", "data/sample301.mar2300", "data/made32.edf", "data/negative.edf", "data/large.edf"]
    for operation, frame in itertools.product(operations, frames):
        yield f"xrdimage convert {operation} {frame} -o out.edf"
    for operation in operations:
        yield f"xrdimage convert -v --classic {operation} data/sample64.mar2300 -o out.png"
    for wrong in ("--bin 0", "--bin x", "--bin 65", "--crop 1,2,3", "--crop 64,0,1,1", "--crop -1,0,5,5", "--fit 0x5", "--fit 5",
                  "--smooth 0", "--smooth 1,2,3", "--mean 0", "--mean 99999", "--log 1", "--log 08", "--scale-to -1",
                  "--box 1,2,3", "--cross 1", "--rotate=3"):
        yield f"xrdimage convert {wrong} data/sample64.mar2300 -o out.edf"


def picturing():
    frame = "data/sample300.mar2300"
    for scale, colors in itertools.product(("linear", "sqrt", "log"), ("classic", "grey", "inverse", "viridis")):
        for options in ("", "--bar", "--range 5-500"):
            yield f"xrdimage convert {frame} -o out.png --scale {scale} --colors {colors} {options}"
        yield f"COLORTERM=truecolor xrdimage view --terminal {frame} --scale {scale} --colors {colors}"
    for options in ("--rings 4,3,2", "--rings 1", "--rings 4 --bar --bin 3", "--range 0-0", "--range -10-10", "--range 10-5",
                    "--range x", "--rings 0", "--rings 4, ", "--colors pink", "--scale cubic", "--rings 3 --distance 50",
                    "--rings 3 --beam 10,20 --rotate", "--bar --crop 0,0,1,300", "--bar --crop 0,0,300,1", "--crop 5,5,1,1"):
        yield f"xrdimage convert {frame} -o out.png {options}"
        yield f"xrdimage view --terminal {options} {frame}"
    for environment in ("NO_COLOR=1", "TERM=xterm-256color", "TERM=dumb", "COLORTERM=24bit", "COLUMNS=40 LINES=10", "LC_ALL=C"):
        yield f"{environment} xrdimage view --terminal {frame}"
    for file in ("data/made.png", "data/made.edf", "data/large.edf", "data/negative.edf", "data/real.nx09_strain_011.mar2300"):
        yield f"xrdimage view --classic {file}"
        yield f"xrdimage -v view --classic --divide 3 {file}"
        yield f"xrdimage view --classic --terminal {file}"
    script = "mkdir bin; printf '#!/bin/sh\\necho shown \"$@\"' >bin/xv; chmod +x bin/xv; PATH=$PWD/bin:$PATH DISPLAY=:9"
    yield f"{script} xrdimage view {frame}"
    yield f"{script} XDG_CACHE_HOME=$PWD/cache xrdimage view --bin 2 {frame}"
    yield f"{script} HOME= TMPDIR=$PWD xrdimage view {frame}"


def comparing():
    frames = ["data/sample64.mar2300", "data/sample300.mar2300", "data/made.edf", "data/made.tif", "data/made32.edf",
              "data/packed.mar2300.gz", "data/large.edf", "data/negative.edf", "data/missing", "data/text"]
    for pair in itertools.product(frames, frames):
        yield "xrdimage diff " + " ".join(pair)
    yield "xrdimage diff --classic data/made.edf data/made.tif"
    yield "xrdimage diff -v --size 4x3 data/words.raw data/words.raw"
    yield "xrdimage convert data/made.edf -o out.tif && xrdimage diff data/made.edf out.tif"


def many():
    frames = "data/sample64.mar2300 data/made.edf data/made.tif data/cut.edf data/missing data/large.edf data/sample301.mar2300"
    for options in ("", "--json", "--csv", "--classic", "--force", "--shard 1/2", "--shard 2/2 --csv", "--shard 9/9 --json"):
        yield f"xrdimage info -j 1 {options} {frames}"
    for ending in WRITTEN:
        yield f"xrdimage convert -j 1 {frames} -o out/ --to {ending}"
    for options in ("-o out/{name}.edf", "-o {n}.png", "-o {n}{name}.tif --bits 16", "-o out.edf", "-o out", "-o out/",
                    "-o {n}", "-o same{n}.edf --shard 2/3", "-o '' --to edf", "-o /nowhere/ --to edf", "-o /nowhere/{n}.edf"):
        yield f"xrdimage convert -j 1 {options} {frames}"
    again = "xrdimage convert -j 1 data/sample64.mar2300 data/made.edf data/made.tif -o out/ --to edf"
    yield f"{again}; {again}"
    yield f"{again}; rm -f out/*64*; {again} --skip-existing"
    yield again.replace("made.tif", "sample64.mar2300")
    yield "cp data/made.edf . && xrdimage convert made.edf -o made.edf; xrdimage convert made.edf -o ./made.edf --force"
    yield "cp data/made.edf data/made.tif . && xrdimage convert -j 1 made.edf made.tif -o . --to edf"
    for source in ("--files-from data/lines", "--files-from data/nuls", "--files-from - <data/lines", "--files-from - </dev/null",
                   "--files-from data/missing", "--files-from .", "--files-from data/empty data/made.edf",
                   "--files-from /dev/zero"):
        yield f"xrdimage info -j 1 --json {source}"
        yield f"xrdimage convert -j 1 -o {{n}}.edf {source}"
    yield "find data/ -name 'made*' -print0 | sort -z | xrdimage info -j 1 --files-from -"


def wrong():
    for arguments in ("bogus", "--bogus", "info", "info --json --csv x", "info --jobs 0 x", "info -j 2000 x", "info --shard 3/2 x",
                      "convert", "convert data/made.edf", "convert data/made.edf -o", "convert -o out.edf", "view", "diff a",
                      "diff a b c", "sample", "completion", "completion fish", "manual x", "info --size 0x0 x",
                      "info --size 8 x", "info --depth 12 x", "info --skip -1 x", "info --format xi x", "info --beam 1 x",
                      "info --wavelength 0 x", "info --distance -1 x", "info --pixel 0 x", "info --pixel 1,2,3 x",
                      "view --divide -1 x", "convert data/made.edf -o out.xyz", "convert data/made.edf -o out",
                      "convert data/made.edf -o data", "convert data/made.edf -o out.edf --bits 8", "info .", "info data/empty",
                      "info ''", "info data/missing", "convert data/missing -o out.edf", "view data/missing", "info data/text",
                      "convert data/text -o out.edf", "convert data/made.edf -o /dev/full --to edf", "info --verbose data/made.edf"):
        yield f"xrdimage {arguments}"
    yield "xrdimage info \"data/name with blanks & 'quotes'.mar2300\""
    yield "cd data && xrdimage info -- -dash.mar2300"
    yield "xrdimage info data/made.edf >/dev/full"
    yield "xrdimage info data/made.edf >&-"
    yield "xrdimage view --terminal data/made.edf >/dev/full"
    yield "ulimit -f 8; xrdimage convert data/sample300.mar2300 -o out.edf"
    yield "touch out.edf; chmod 400 out.edf; xrdimage convert data/made.edf -o out.edf; ls -l out.edf | cut -c 1-10"
    yield "ln -s missing.edf out.edf; xrdimage convert data/made.edf -o out.edf"


def piping():
    for file in ("sample64.mar2300", "made.edf", "made.tif", "packed.edf.bz2", "packed.mar2300.gz", "text", "empty"):
        yield f"cat data/{file} | xrdimage info /dev/stdin"
        yield f"xrdimage convert /dev/stdin -o out.tif <data/{file}"
    yield "mkfifo pipe; cat data/made.edf >pipe & xrdimage info --classic --format edf pipe; wait"
    yield "mkfifo pipe; cat data/words.raw >pipe & xrdimage info --size 8x8 pipe; wait"
    yield "echo 8 8 | xrdimage info --classic data/words.raw"
    yield "xrdimage info --json data/made.edf | tail -n 2"
    yield "xrdimage convert data/made.edf -o out.edf | cat; cat out.edf | xrdimage diff /dev/stdin data/made.edf"


def sampling():
    for options in ("", "--size 64", "--size 63", "--size 4097", "--size 65 --seed 0", "--size 100 --seed 18446744073709551615",
                    "--size 100 --seed -1", "--size 0100", "--seed x", "--size 512 --seed 9"):
        yield f"xrdimage sample out.mar2300 {options}"
    yield "xrdimage sample /nowhere/out.mar2300"
    yield "xrdimage sample --size 64 out.mar2300; xrdimage sample --size 64 --seed 5 out.mar2300"


def commands(data, samples):
    """All but those of help texts, each once."""
    lists = {"data/lines", "data/nuls"}
    files = [f"data/{path.name}" for path in sorted(data.iterdir())]
    real = [f"data/real.{sample.name}" for sample in samples]
    small = [quoted(file) for file in files if file not in lists and file not in real]
    sources = ["data/sample64.mar2300", "data/sample301.mar2300", "data/made.tif", "data/made.img", "data/made.pck",
               "data/load_frame.saint", "data/load_frame.mar_ccd", "data/load_frame.edf_reals", "data/packed.edf.bz2"]
    parts = (reading(small + real), writing(sources + real), operating(), picturing(), comparing(), many(), wrong(), piping(),
             sampling())
    return list(dict.fromkeys(itertools.chain.from_iterable(parts)))
