"""The services as a tree of files, for any web server, object store or content network.

The tree answers the paths that players ask for. A run brings it up to date: a file whose content
stays is not touched, any other is replaced whole. A package is there before the first answer names
it, and one that no answer names any more stays until the next run, for players that were told of it
a moment ago.
"""

import json
import os
import re
import shutil
import sys

from zerv_services.catalog import PACKAGE_NAME, PACKAGE_PATH, version_number

LONGEST_ADDRESS = 255
LARGEST_LYRICS = 1 << 20
STATE = "state.json"
NONE = b"none\n"

NGINX = """# The tree beside this file, served to players. Include it in the http section.
server {{
    listen {port};
    root {root};
    default_type application/octet-stream;
    sendfile on;
    tcp_nopush on;
    open_file_cache max=10000 inactive=60s;
    open_file_cache_valid 10s; # how long an answer may be old
    add_header X-Content-Type-Options nosniff;

    location /live-lyrics/fetch/ {{
        types {{ }}
        default_type "text/plain; charset=utf-8";
    }}
    location /zerv-player/update/ {{
        types {{ }}
        default_type "text/plain; charset=utf-8";
        add_header Cache-Control "max-age=60";
        # A version that no file is for is as new as any.
        try_files $uri /none;
    }}
    location = /none {{
        internal;
        default_type "text/plain; charset=utf-8";
    }}
    location /packages/ {{
        types {{ }}
        default_type application/zip;
        add_header Cache-Control "max-age=31536000, immutable";
    }}
    location / {{
        return 404;
    }}
}}
"""


class ExportError(Exception):
    """What does not hold, in words."""


class Tree:
    """A folder that is brought up to date file by file."""

    def __init__(self, root):
        self.root = root
        self.wanted = set()
        self.changed = 0

    def path(self, name):
        return os.path.join(self.root, name)

    def replace(self, name, fill):
        """fill(file) writes the new content; nobody sees half of it."""
        path = self.path(name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        beside = os.path.join(os.path.dirname(path), f".{os.path.basename(path)[:200]}.new")
        try:
            with open(beside, "wb") as file:
                fill(file)
                file.flush()
                os.fsync(file.fileno())
            os.chmod(beside, 0o644)
            os.replace(beside, path)
        except BaseException:
            if os.path.exists(beside):
                os.unlink(beside)
            raise
        self.changed += 1

    def put(self, name, content):
        self.wanted.add(name)
        try:
            with open(self.path(name), "rb") as file:
                if file.read(len(content) + 1) == content:
                    return
        except FileNotFoundError:
            pass
        self.replace(name, lambda file: file.write(content))

    def put_copy(self, name, source):
        """A package: known by size and time, since it is large."""
        self.wanted.add(name)
        state = os.stat(source)
        try:
            old = os.stat(self.path(name))
            if (old.st_size, old.st_mtime_ns) == (state.st_size, state.st_mtime_ns):
                return
        except FileNotFoundError:
            pass
        with open(source, "rb") as opened:
            self.replace(name, lambda file: shutil.copyfileobj(opened, file))
        os.utime(self.path(name), ns=(state.st_atime_ns, state.st_mtime_ns))

    def remove_others(self, folder):
        for place, _, names in os.walk(self.path(folder)):
            for name in names:
                relative = os.path.relpath(os.path.join(place, name), self.root)
                if relative not in self.wanted:
                    os.unlink(os.path.join(place, name))
                    self.changed += 1


def put_lyrics(tree, services):
    """How many tracks have lyrics."""
    found = dict(services.index.all_lyrics()) if services.index else {}
    for name in os.listdir(services.lyrics) if services.lyrics else ():
        match = re.fullmatch(r"([0-9a-f]{32})\.lrc", name)
        if match:
            found[match[1]] = os.path.join(services.lyrics, name)
    for key, path in sorted(found.items()):
        with open(path, "rb") as file:
            tree.put(f"live-lyrics/fetch/{key}", file.read(LARGEST_LYRICS - 1))
    return len(found)


def packages_of(folder):
    """{build: [(number, version, name), ...]}, the newest first."""
    builds = {}
    for name in os.listdir(folder) if folder else ():
        match = PACKAGE_NAME.fullmatch(name)
        if match and PACKAGE_PATH.fullmatch("/packages/" + name) and \
                os.path.isfile(os.path.join(folder, name)):
            builds.setdefault(match[1], []).append((version_number(match[2]), match[2], name))
    for each in builds.values():
        each.sort(reverse=True)
    return builds


def answers_of(builds, versions, public):
    """{"BUILD/VERSION": the package's name} for every version that has a newer one."""
    answers = {}
    for build, packages in builds.items():
        newest, _, name = packages[0]
        if len(f"http://{public}/packages/{name}") > LONGEST_ADDRESS:
            raise ExportError(f"{name}: its address is longer than {LONGEST_ADDRESS} characters")
        for version in {version for _, version, _ in packages} | set(versions):
            if version_number(version) < newest:
                answers[f"{build}/{version}"] = name
    return answers


def read_state(root):
    try:
        with open(os.path.join(root, STATE), encoding="utf-8") as file:
            return json.load(file)
    except (FileNotFoundError, ValueError):
        return {}


def put_packages(tree, services, versions, public, state):
    """The packages first, then what names them, then what no answer names any more."""
    builds = packages_of(services.packages)
    answers = answers_of(builds, versions, public)
    named = set(answers.values())
    for name in sorted(named):
        tree.put_copy(f"packages/{name}", os.path.join(services.packages, name))
    for path, name in sorted(answers.items()):
        tree.put(f"zerv-player/update/{path}", f"http://{public}/packages/{name}\n".encode("ascii"))
    tree.remove_others("zerv-player")
    for name in set(state.get("named", ())) - named:
        tree.wanted.add(f"packages/{name}")
    tree.remove_others("packages")
    return named


def export(target, services, versions, public, port):
    """Brings the tree in `target` up to date; the number of files that changed."""
    if services.packages and not public:
        raise ExportError("packages need --public: the answers name the host")
    target = os.path.abspath(target)
    tree = Tree(os.path.join(target, "www"))
    os.makedirs(tree.root, exist_ok=True)
    state = read_state(target)
    tracks = put_lyrics(tree, services)
    named = put_packages(tree, services, versions, public, state)
    tree.put("none", NONE)
    tree.remove_others("live-lyrics")
    outside = Tree(target)
    outside.put("nginx.conf", NGINX.format(root=tree.root, port=port).encode())
    outside.put(STATE, json.dumps({"named": sorted(named)}).encode())
    print(f"{tracks} tracks with lyrics, {len(named)} packages on offer, "
          f"{tree.changed + outside.changed} files changed", flush=True)
    return 0


def main(target, services, versions, public, port):
    try:
        return export(target, services, versions, public, port)
    except (ExportError, OSError) as error:
        print(f"zerv-services: {error}", file=sys.stderr)
        return 1
