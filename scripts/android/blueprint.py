"""Reads the modules of Android.bp files: the part of the Blueprint language that this project uses."""

import glob
import json
import re

TOKEN = re.compile(r'\s+|//[^\n]*|(?P<token>"(?:[^"\\]|\\.)*"|\w+|[:,\[\]{}])')


class Module:
    """A module: its type, its properties with those of its defaults, and the folder of its file."""

    def __init__(self, kind, properties, folder):
        self.kind = kind
        self.properties = properties
        self.folder = folder
        self.name = properties.get("name", kind)

    def list(self, *names):
        """The values of the named list properties, one list after the other."""
        return [value for name in names for value in self.properties.get(name, [])]

    def folders(self, name):
        """A list property of folders, from the root of the source tree."""
        return [self.folder / value for value in self.list(name)]

    def sources(self):
        """The files of srcs less those of exclude_srcs. A glob that matches nothing is an error."""
        excluded = self.matches("exclude_srcs")
        return [file for file in self.matches("srcs") if file not in excluded]

    def matches(self, name):
        found = []
        for pattern in self.list(name):
            files = glob.glob(str(self.folder / pattern), recursive=True)
            if not files or ".." in pattern:
                self.refuse(f"{name}: no file of this folder is {pattern}")
            found += sorted(files)
        return found

    def refuse(self, why):
        raise SystemExit(f"{self.folder / 'Android.bp'}: {self.name}: {why}")


def read_modules(files):
    """The enabled modules of the files for arm64, by name. Each file comes with its modules' folder."""
    modules = [module for file, folder in files for module in parse(file, folder)]
    defaults = {module.name: module for module in modules if module.kind == "cc_defaults"}
    result = {}
    for module in modules:
        if "name" not in module.properties or module.kind == "cc_defaults":
            continue
        if module.name in result:
            module.refuse("another module has this name")
        module.properties = for_arm64(with_defaults(module, defaults))
        if module.properties.get("enabled", True):
            result[module.name] = module
    return result


def with_defaults(module, defaults):
    merged = {}
    for name in module.list("defaults"):
        if name not in defaults:
            module.refuse(f"there are no defaults {name}")
        merged = merge(merged, with_defaults(defaults[name], defaults))
    return merge(merged, module.properties)


def for_arm64(properties):
    return merge(properties, properties.get("arch", {}).get("arm64", {}))


def merge(first, second):
    """Lists are joined and maps merged; of two other values the second holds."""
    merged = dict(first)
    for name, value in second.items():
        if isinstance(value, list):
            merged[name] = first.get(name, []) + value
        elif isinstance(value, dict):
            merged[name] = merge(first.get(name, {}), value)
        else:
            merged[name] = value
    return merged


def parse(file, folder):
    """The modules of a file as they are written there."""
    tokens = tokens_of(file)
    while tokens:
        kind = tokens.pop()
        yield Module(kind, value_of(tokens, file), folder)


def tokens_of(file):
    """The tokens of a file, the first one last."""
    text = file.read_text()
    tokens = []
    end = 0
    while end < len(text):
        match = TOKEN.match(text, end)
        if not match:
            line = text.count("\n", 0, end) + 1
            raise SystemExit(f"{file}:{line}: cannot read {text[end]!r}")
        if match["token"]:
            tokens.append(match["token"])
        end = match.end()
    return tokens[::-1]


def value_of(tokens, file):
    token = tokens.pop()
    if token == "{":
        return dict(entries(tokens, "}", lambda: property_of(tokens, file)))
    if token == "[":
        return list(entries(tokens, "]", lambda: value_of(tokens, file)))
    try:
        return json.loads(token)
    except ValueError:
        raise SystemExit(f"{file}: {token} is not a value") from None


def property_of(tokens, file):
    name = tokens.pop()
    if tokens.pop() != ":":
        raise SystemExit(f"{file}: no ':' after {name}")
    return name, value_of(tokens, file)


def entries(tokens, closing, read):
    """What read() returns for each entry up to the closing token."""
    while tokens[-1] != closing:
        yield read()
        if tokens[-1] == ",":
            tokens.pop()
    tokens.pop()
