#!/usr/bin/env python3
"""Makes the documentation's site: make_site.py BUILD_FOLDER [FOLDER_FOR_THE_SITE]

The documents are gathered in one folder, with reference pages made from the headers and a gallery made by
zerv-skin; MkDocs turns them into pages. Nothing in them is loaded from elsewhere."""

import os
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

import reference

ROOT = Path(__file__).resolve().parent.parent
DOCS = ROOT / "docs"
AT_THE_ROOT = {"README.md": "index.md", "CONTRIBUTING.md": "CONTRIBUTING.md", "SECURITY.md": "SECURITY.md",
               "CHANGELOG.md": "CHANGELOG.md"}
SKINS = ("Aqua_Ver0.4", "Night", "LargeType")
LINK = re.compile(r"(!?)\[([^\]]*)\]\(([^)#\s]*)(#[^)\s]*)?\)")
# What a picture of the gallery shows, by the words of its name.
SHOWN = {"battery-low": "with the battery warning", "empty": "an empty list", "last": "at the end of a list",
         "long": "long names", "menu": "the main menu", "tracks": "tracks", "volume": "with the volume",
         "chinese": "a Chinese track", "korean": "a Korean track", "no-tags": "a track without tags",
         "paused": "paused", "playing": "playing", "stopped": "stopped"}
VARIANTS = {"list-0": "list screen", "play-0": "a cover", "play-1": "lyrics", "play-2": "a cover and lyrics",
            "play-3": "neither cover nor lyrics", "play-4": "the picture alone"}


def moved(target, source):
    """Where a link of a document leads in the site; None for a file that is not part of it."""
    path = os.path.normpath(os.path.join(os.path.dirname(source), target))
    if path in AT_THE_ROOT:
        place = AT_THE_ROOT[path]
    elif path.startswith("docs/") and (ROOT / path).exists():
        place = path.removeprefix("docs/")
    else:
        return None
    return os.path.relpath(place, os.path.dirname(place_of(source)) or ".")


def place_of(source):
    return AT_THE_ROOT.get(source) or source.removeprefix("docs/")


def relinked(text, source):
    """The document with its links as the site needs them; a file that stays behind is only named."""
    def replace(match):
        bang, words, target, anchor = match[1], match[2], match[3], match[4] or ""
        if not target or "://" in target:
            return match[0]
        place = moved(target, source)
        return f"{bang}[{words}]({place}{anchor})" if place else words
    return LINK.sub(replace, text)


def gather(to):
    """Puts the documents and their pictures into a folder."""
    shutil.copytree(DOCS / "pictures", to / "pictures")
    shutil.copy(DOCS / "site" / "site.css", to)
    shutil.copy(ROOT / "packaging" / "zerv-player.svg", to / "pictures" / "icon.svg")
    documents = [str(path.relative_to(ROOT)) for path in DOCS.rglob("*.md")]
    for source in [*AT_THE_ROOT, *documents]:
        target = to / place_of(source)
        target.parent.mkdir(parents=True, exist_ok=True)
        target.write_text(relinked((ROOT / source).read_text(encoding="utf-8"), source), encoding="utf-8")


def caption(name):
    variant = next(each for each in VARIANTS if name.startswith(each))
    return f"{VARIANTS[variant]}, {SHOWN.get(name.removeprefix(variant + '-'), name)}"


def make_gallery(build, to):
    """Every screen of every skin that comes with the player."""
    lines = ["# Gallery", "", "Each skin that comes with the player, in every variant and state that "
             "`zerv-skin preview` draws. [Making a skin](skins.md) says how to draw your own."]
    for skin in SKINS:
        folder = to / "pictures" / "gallery" / skin
        subprocess.run([build / "tools" / "zerv-skin", "preview", build / "player" / "skins" / f"{skin}.zip",
                        "-o", folder], check=True, stdout=subprocess.DEVNULL)
        (folder / "sheet.png").unlink()
        lines += ["", f"## {skin}", "", '<div class="gallery">']
        for picture in sorted(folder.glob("*.png")):
            words = caption(picture.stem)
            lines.append(f'<figure><img src="pictures/gallery/{skin}/{picture.name}" width="320" height="240" '
                         f'loading="lazy" alt="{skin}: {words}"><figcaption>{words}</figcaption></figure>')
        lines.append("</div>")
    (to / "gallery.md").write_text("\n".join(lines) + "\n", encoding="utf-8")


def write_plan(folder, pages):
    """The generator's own file: the documents' part of the plan, and the reference pages."""
    plan = (DOCS / "site" / "mkdocs.yml").read_text(encoding="utf-8").rstrip("\n")
    for document in (folder / "docs").rglob("*.md"):
        place = str(document.relative_to(folder / "docs"))
        if not place.startswith("reference/") and f": {place}\n" not in plan + "\n":
            sys.exit(f"docs/site/mkdocs.yml does not say where {place} belongs")
    rows = ["      - Reference: reference/index.md"]
    rows += [f"      - {name}: reference/{page}" for name, page in pages]
    (folder / "mkdocs.yml").write_text("\n".join([plan, *rows]) + "\n", encoding="utf-8")


def drop_sources(site):
    """The theme's maps name places elsewhere, and languages of search that no page is written in."""
    for path in [*site.rglob("*.map"), *site.rglob("lunr/min/*"), *site.rglob("lunr/*.js"), *site.glob("sitemap*")]:
        if path.is_file():
            path.unlink()
    for path in [*site.rglob("*.js"), *site.rglob("*.css")]:
        text = path.read_text(encoding="utf-8")
        path.write_text(re.sub(r"\n?(//# sourceMappingURL=\S+|/\*# sourceMappingURL=.*?\*/)\s*$", "\n", text),
                        encoding="utf-8")


def make(build, site):
    with tempfile.TemporaryDirectory(prefix="zerv-site-") as temporary:
        folder = Path(temporary)
        pages = reference.make(folder / "docs" / "reference")
        gather(folder / "docs")
        shutil.copy(build / "player" / "icon.png", folder / "docs" / "pictures")
        make_gallery(build, folder / "docs")
        write_plan(folder, pages)
        shutil.rmtree(site, ignore_errors=True)
        done = subprocess.run(["mkdocs", "build", "--strict", "-q", "-f", folder / "mkdocs.yml", "-d", site])
    if done.returncode != 0:
        sys.exit("the site cannot be made")
    drop_sources(site)


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    site = Path(sys.argv[2] if len(sys.argv) > 2 else "build/site").resolve()
    make(Path(sys.argv[1]).resolve(), site)
    print(f"The site is {site}. To read it: python3 -m http.server --directory {site}")


if __name__ == "__main__":
    main()
