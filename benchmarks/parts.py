"""Where instructions and bytes go, part by part: read from what callgrind and the linker leave behind."""
import collections
import functools
import os
import re

# The first that fits the path of a source, of a library or of an object in an archive.
PARTS = [
    ("allocating memory", r"/malloc/|\bmalloc\.c$|new_op|del_op"),
    ("SQLite", r"libsqlite3"),
    ("the C library, its threads and locks", r"libc\.so|libm\.so|ld-linux|/nptl/|/sysdeps/|libc\.a|crt.*\.o$"),
    ("the C++ library", r"libstdc\+\+|libgcc|/c\+\+/"),
    ("the loop's library", r"libuv"),
    ("libcurl and what it stands on", r"libcurl|libssl|libcrypto|libnghttp2|libz\."),
    ("the store: what reads without SQLite, damage too", r"sqlite(?:/|\.a\()(?:SoundStore|Row(?:Image|Cells)|StorePages|PageRoom|(?:Log|Journal)Image|FileBytes|SetAside|IdentityCopy)\."),
    ("the store", r"platform/sqlite/|libfliprugair-sqlite"),
    ("JSON", r"rapidjson|platform/json/|libfliprugair-json"),
    ("the network", r"platform/curl/|libfliprugair-curl"),
    ("the virtual device", r"platform/virtual/|libfliprugair-virtual"),
    ("Linux: loop, machine, environment", r"platform/(linux|posix)/|libfliprugair-linux|libfliprugair-posix"),
    ("positions and archives", r"platform/(gpsd|plist)/|libfliprugair-(gps|plist)"),
    ("values: texts, lists, dictionaries", r"platform/|\((Array|Dictionary|Value|UnreadValue|Text|PairList|NotificationCenter|JSONSerialization|Joined)\.cpp"),
    ("the tracker", r"Fliprugair/|libfliprugair\.a"),
    ("what measures", r"benchmarks/|examples/"),
]


@functools.cache
def part(*paths):
    for name, pattern in PARTS:
        if any(re.search(pattern, path) for path in paths):
            return name
    return "the rest"


def of_callgrind(file):
    """Instructions by part. What the compiler put in line counts for the source that it was written in; the standard
    library's for the function that it stands in."""
    spent = collections.Counter()
    names = {}

    def name_of(kind, value):
        number, _, text = value.partition(" ")
        if text:
            names[kind, number] = text
        return names[kind, number]

    where = {"ob": "", "fl": "", "fi": ""}
    is_call = False
    for line in open(file):
        if match := re.match(r"(c?)(ob|fl|fi|fe|fn)=(.*)", line):
            key = match[2]
            kind = "fl" if key in ("fi", "fe") else key
            text = name_of(kind, match[3])
            if not match[1] and kind in ("ob", "fl"):
                where["fi" if key in ("fi", "fe") else key] = text
                if key == "fl":
                    where["fi"] = text
        elif line.startswith("calls="):
            is_call = True
        elif re.match(r"[+\-*\d]", line):
            if not is_call:
                spent[key_of(where)] += int(line.split()[1])
            is_call = False
    return spent


def key_of(where):
    source = where["fi"]
    if "/c++/" in source and "libstdc" not in where["ob"]:
        source = where["fl"]  # a template of the standard library belongs to who uses it
    library = where["ob"] if ".so" in where["ob"] else ""
    return part(os.path.normpath(source), library)


def of_map(file):
    """Bytes of code, constants and tables by part, as a linker's map says: of the sections that were kept."""
    kept = collections.Counter()
    text = open(file).read().split("Linker script and memory map", 1)[1]
    section = r"^ \.(?:text|rodata|eh_frame|gcc_except_table|data\.rel\.ro|init|fini)\S*\s+0x([0-9a-f]+)\s+0x([0-9a-f]+)\s+(\S.*)$"
    for address, size, origin in re.findall(section, text, re.M):
        if int(address, 16):
            kept[part(origin)] += int(size, 16)
    return kept


def table(heads, columns):
    """In Markdown; what is most in the last column first. Each column is a number for each part."""
    names = sorted({name for column in columns for name in column}, key=lambda name: -columns[-1].get(name, 0))
    rows = [[name] + [f"{column[name]:,.0f}" if column.get(name, 0) >= 0.5 else "" for column in columns] for name in names]
    lines = [["part", *heads], ["---"] * (len(heads) + 1)] + [row for row in rows if any(row[1:])]
    return "\n".join("| " + " | ".join(line) + " |" for line in lines)
