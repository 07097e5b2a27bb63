#!/usr/bin/env python3
"""Writes a realistic iTunes library XML of N tracks plus its media files.

    generate_library.py OUT_DIR [--tracks N] [--seed S] [--no-media] [--shuffle]
                        [--playlists N | --folder-chain N | --repeat N]

OUT_DIR receives "iTunes Music Library.xml" and a Music/ tree of empty media
files. The locations are "file://localhost/Music/...", which the importer
turns into paths relative to its working directory, so run the importer (or
the benchmark) from OUT_DIR for the tracks to be found and written.

The mix follows what real libraries hold: about 30 keys per track in iTunes'
own order, names with UTF-8, "&#38;" and "+", protected tracks, URL streams,
videos, podcasts, audiobooks (with the distinguished Audiobooks playlist),
e-books, a few tracks whose file is missing, playlist folders, smart
playlists and plain playlists. 100,000 tracks make about 150 MB.

The shapes that stress one dimension each replace that playlist mix:
--playlists N writes N flat playlists of one track each, --folder-chain N
nests N folders in a chain with a one-track playlist in each, --repeat N
writes one playlist that lists a track N times. --shuffle writes the tracks
in random id order.
"""

import argparse
import os
import random
import sys
from urllib.parse import quote

WORDS = ("love night day heart fire rain blue dream city road light time song "
         "world home river gold shadow storm summer winter girl boy dance run "
         "wild high low sweet lost free moon sun star sky ocean paper glass "
         "electric velvet silent golden broken midnight morning").split()
ODD_WORDS = ["Café", "Björk", "Motörhead", "Señor", "Ærø", "東京", "Rock+Roll",
             "Tom & Jerry", "AC/DC", "100%", "<Live>", "Don't", "Sigur Rós"]
GENRES = ["Rock", "Pop", "Jazz", "Classical", "Electronic", "Hip-Hop", "Folk",
          "Soundtrack", "Blues", "Metal", "Reggae", "Country", "R&B"]


def xml_text(text):
    # iTunes writes the XML specials as numeric character references.
    return text.replace("&", "&#38;").replace("<", "&#60;").replace(">", "&#62;")


def file_name(text):
    return text.replace("/", "_").replace(":", "_")


class Rng:
    def __init__(self, seed):
        self.r = random.Random(seed)

    def title(self, words=(1, 4)):
        n = self.r.randint(*words)
        parts = [self.r.choice(WORDS) for _ in range(n)]
        if self.r.random() < 0.06:
            parts.insert(self.r.randrange(n + 1), self.r.choice(ODD_WORDS))
        return " ".join(parts).title() if self.r.random() < 0.8 else " ".join(parts)

    def pid(self):
        return "%016X" % self.r.getrandbits(64)

    def date(self, first_year=2003, last_year=2014):
        r = self.r
        return "%04d-%02d-%02dT%02d:%02d:%02dZ" % (
            r.randint(first_year, last_year), r.randint(1, 12), r.randint(1, 28),
            r.randint(0, 23), r.randint(0, 59), r.randint(0, 59))


def make_tracks(rng, count):
    """Returns a list of dicts describing the tracks, grouped into albums."""
    r = rng.r
    tracks = []
    track_id = 1000
    while len(tracks) < count:
        artist = rng.title((1, 3))
        album_artist = artist if r.random() < 0.9 else "Various Artists"
        for _ in range(r.randint(1, 4)):
            album = rng.title((1, 4))
            genre = r.choice(GENRES)
            year = r.randint(1960, 2014)
            tracks_in_album = r.randint(6, 16)
            kind = r.random()
            for number in range(1, tracks_in_album + 1):
                if len(tracks) >= count:
                    break
                t = {
                    "id": track_id, "name": rng.title(), "artist": artist,
                    "album_artist": album_artist, "album": album, "genre": genre,
                    "year": year, "number": number, "count": tracks_in_album,
                    "pid": rng.pid(), "ext": "mp3", "kind": "MPEG audio file",
                    "protected": False, "video": False, "podcast": False,
                    "audiobook": False, "url": False, "missing": r.random() < 0.02,
                }
                track_id += 2
                if kind < 0.03:
                    t.update(ext="m4v", kind="MPEG-4 video file", video=True)
                elif kind < 0.06:
                    t.update(ext="mp3", kind="MPEG audio file", podcast=True, genre="Podcast")
                elif kind < 0.09:
                    t.update(ext="m4b", kind="Protected AAC audio file" if r.random() < 0.3
                             else "AAC audio file", audiobook=True, genre="Audiobook")
                elif kind < 0.10:
                    t.update(ext="epub", kind="Book")
                elif kind < 0.11:
                    t.update(url=True, kind="Internet audio stream")
                elif kind < 0.14:
                    t.update(ext="m4p", kind="Protected AAC audio file", protected=True)
                elif kind < 0.5:
                    t.update(ext="m4a", kind="AAC audio file")
                tracks.append(t)
    return tracks


def track_lines(rng, t):
    r = rng.r
    yield "\t\t<key>%d</key>" % t["id"]
    yield "\t\t<dict>"
    keys = [("Track ID", "integer", t["id"]), ("Name", "string", t["name"]),
            ("Artist", "string", t["artist"])]
    if t["album_artist"] != t["artist"]:
        keys.append(("Album Artist", "string", t["album_artist"]))
    if r.random() < 0.3:
        keys.append(("Composer", "string", rng.title((2, 3))))
    keys += [("Album", "string", t["album"]), ("Genre", "string", t["genre"]),
             ("Kind", "string", t["kind"])]
    total_time = r.randint(90000, 420000) if not t["audiobook"] else r.randint(1800000, 30000000)
    bit_rate = r.choice((128, 192, 256, 320))
    if not t["url"]:
        keys.append(("Size", "integer", total_time * bit_rate // 8))
    keys.append(("Total Time", "integer", total_time))
    keys += [("Disc Number", "integer", 1), ("Disc Count", "integer", 1),
             ("Track Number", "integer", t["number"]), ("Track Count", "integer", t["count"]),
             ("Year", "integer", t["year"]), ("Date Modified", "date", rng.date()),
             ("Date Added", "date", rng.date()), ("Bit Rate", "integer", bit_rate),
             ("Sample Rate", "integer", 44100)]
    if r.random() < 0.6:
        keys += [("Play Count", "integer", r.randint(1, 200)),
                 ("Play Date", "integer", r.randint(3200000000, 3600000000)),
                 ("Play Date UTC", "date", rng.date())]
    if r.random() < 0.3:
        keys += [("Rating", "integer", r.choice((20, 40, 60, 80, 100))),
                 ("Album Rating", "integer", 60), ("Album Rating Computed", "true", None)]
    keys.append(("Artwork Count", "integer", 1))
    if t["album_artist"] == "Various Artists":
        keys.append(("Compilation", "true", None))
    if t["protected"]:
        keys.append(("Protected", "true", None))
    if t["video"]:
        keys += [("Has Video", "true", None), ("HD", "false", None),
                 ("Video Width", "integer", 1280), ("Video Height", "integer", 720),
                 ("Movie", "true", None)]
    if t["podcast"]:
        keys.append(("Podcast", "true", None))
    if r.random() < 0.2:  # iTunes writes sort keys only where they differ
        keys += [("Sort Album", "string", t["album"].lower()),
                 ("Sort Artist", "string", t["artist"].lower()),
                 ("Sort Name", "string", t["name"].lower())]
    keys.append(("Persistent ID", "string", t["pid"]))
    if t["url"]:
        keys += [("Track Type", "string", "URL"),
                 ("Location", "string", "http://radio.example.net:8000/stream%d" % t["id"])]
    else:
        keys += [("Track Type", "string", "File"),
                 ("Location", "string", "file://localhost/" + quote(t["path"], safe="/")),
                 ("File Folder Count", "integer", 5), ("Library Folder Count", "integer", 1)]
    for key, element, value in keys:
        if element in ("true", "false"):
            yield "\t\t\t<key>%s</key><%s/>" % (key, element)
        elif element == "string":
            yield "\t\t\t<key>%s</key><string>%s</string>" % (key, xml_text(value))
        else:
            yield "\t\t\t<key>%s</key><%s>%s</%s>" % (key, element, value, element)
    yield "\t\t</dict>"


SMART_INFO = ("\t\t\t<key>Smart Info</key>\n\t\t\t<data>\n"
              "\t\t\tAQEAAwAAAAIAAAAZAAAAAAAAAAcAAAABAAAAAAAAAAAAAAAAAAAAAAAAAAAA\n"
              "\t\t\tAAAAAA==\n\t\t\t</data>\n\t\t\t<key>Smart Criteria</key>\n\t\t\t<data>\n"
              "\t\t\tU0xzdAABAAEAAAACAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA\n"
              "\t\t\tAAAAAAAAAAAAAAA8AAAAAQAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA\n"
              "\t\t\t</data>")


def playlist_lines(rng, name, ids, extra=(), smart=False, parent=None, folder=False):
    pid = rng.pid()
    yield "\t\t<dict>"
    yield "\t\t\t<key>Name</key><string>%s</string>" % xml_text(name)
    yield "\t\t\t<key>Playlist ID</key><integer>%d</integer>" % rng.r.randint(10000, 999999)
    yield "\t\t\t<key>Playlist Persistent ID</key><string>%s</string>" % pid
    if parent is not None:
        yield "\t\t\t<key>Parent Persistent ID</key><string>%s</string>" % parent
    # Master, Visible, Distinguished Kind and the like follow the
    # identifiers, as iTunes writes them.
    for line in extra:
        yield "\t\t\t" + line
    if folder:
        yield "\t\t\t<key>Folder</key><true/>"
    if smart:
        yield SMART_INFO
    if not folder:
        yield "\t\t\t<key>All Items</key><true/>"
    if ids:
        yield "\t\t\t<key>Playlist Items</key>"
        yield "\t\t\t<array>"
        for track_id in ids:
            yield "\t\t\t\t<dict>"
            yield "\t\t\t\t\t<key>Track ID</key><integer>%d</integer>" % track_id
            yield "\t\t\t\t</dict>"
        yield "\t\t\t</array>"
    yield "\t\t</dict>"
    return pid


def shape_playlists(rng, tracks, args):
    """The playlists of the one-dimension shapes, behind the hidden library."""
    r = rng.r
    ids = [t["id"] for t in tracks if not t["protected"]]  # protected tracks are in no playlist
    yield from playlist_lines(rng, "Library", ids[:1],
                              ("<key>Master</key><true/>", "<key>Visible</key><false/>"))
    if args.playlists:
        for n in range(args.playlists):
            yield from playlist_lines(rng, "Playlist %d" % n, [r.choice(ids)])
    if args.folder_chain:
        parent = None
        for n in range(args.folder_chain):
            holder = []
            lines = playlist_lines(rng, "Folder %d" % n, [], parent=parent, folder=True)
            try:
                while True:
                    holder.append(next(lines))
            except StopIteration as stop:
                folder = stop.value
            yield from holder
            yield from playlist_lines(rng, "In %d" % n, [r.choice(ids)], parent=folder)
            parent = folder
    if args.repeat:
        yield from playlist_lines(rng, "Repeated", [ids[0]] * args.repeat)


def library_lines(rng, tracks, args):
    r = rng.r
    yield '<?xml version="1.0" encoding="UTF-8"?>'
    yield ('<!DOCTYPE plist PUBLIC "-//Apple Computer//DTD PLIST 1.0//EN" '
           '"http://www.apple.com/DTDs/PropertyList-1.0.dtd">')
    yield '<plist version="1.0">'
    yield "<dict>"
    yield "\t<key>Major Version</key><integer>1</integer>"
    yield "\t<key>Minor Version</key><integer>1</integer>"
    yield "\t<key>Date</key><date>%s</date>" % rng.date(2014, 2014)
    yield "\t<key>Application Version</key><string>11.1.5</string>"
    yield "\t<key>Features</key><integer>5</integer>"
    yield "\t<key>Show Content Ratings</key><true/>"
    yield "\t<key>Music Folder</key><string>file://localhost/Music/</string>"
    yield "\t<key>Library Persistent ID</key><string>%s</string>" % rng.pid()
    yield "\t<key>Tracks</key>"
    yield "\t<dict>"
    in_file_order = list(tracks)
    if args.shuffle:
        r.shuffle(in_file_order)
    for t in in_file_order:
        yield from track_lines(rng, t)
    yield "\t</dict>"
    yield "\t<key>Playlists</key>"
    yield "\t<array>"
    ids = [t["id"] for t in tracks]
    if args.playlists or args.folder_chain or args.repeat:
        yield from shape_playlists(rng, tracks, args)
        yield "\t</array>"
        yield "</dict>"
        yield "</plist>"
        return
    music = [t["id"] for t in tracks if not (t["video"] or t["podcast"] or t["audiobook"])]
    yield from playlist_lines(rng, "Library", ids,
                              ("<key>Master</key><true/>", "<key>Visible</key><false/>"))
    yield from playlist_lines(rng, "Music", music, ("<key>Distinguished Kind</key><integer>4</integer>",
                                                    "<key>Music</key><true/>"))
    yield from playlist_lines(rng, "Movies", [t["id"] for t in tracks if t["video"]],
                              ("<key>Distinguished Kind</key><integer>2</integer>",
                               "<key>Movies</key><true/>"))
    yield from playlist_lines(rng, "Podcasts", [t["id"] for t in tracks if t["podcast"]],
                              ("<key>Distinguished Kind</key><integer>10</integer>",
                               "<key>Podcasts</key><true/>"))
    yield from playlist_lines(rng, "Audiobooks", [t["id"] for t in tracks if t["audiobook"]],
                              ("<key>Distinguished Kind</key><integer>5</integer>",
                               "<key>Audiobooks</key><true/>"))
    for name in ("Recently Added", "Top 25 Most Played", "90's Music"):
        yield from playlist_lines(rng, name, r.sample(music, min(len(music), 25)), smart=True)
    # Folders two levels deep, each with plain playlists of 10 to 200 tracks.
    playlists = max(3, len(tracks) // 500)
    folders = []
    for _ in range(max(1, playlists // 10)):
        parent = r.choice(folders) if folders and r.random() < 0.4 else None
        holder = []
        lines = playlist_lines(rng, rng.title((1, 2)), [], parent=parent, folder=True)
        try:
            while True:
                holder.append(next(lines))
        except StopIteration as stop:
            folders.append(stop.value)
        yield from holder
    for _ in range(playlists):
        parent = r.choice(folders) if r.random() < 0.6 else None
        yield from playlist_lines(rng, rng.title((1, 3)), r.sample(ids, min(len(ids), r.randint(10, 200))),
                                  parent=parent, smart=r.random() < 0.1)
    yield "\t</array>"
    yield "</dict>"
    yield "</plist>"


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("out_dir")
    parser.add_argument("--tracks", type=int, default=100000)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--no-media", action="store_true", help="write the XML only")
    parser.add_argument("--shuffle", action="store_true", help="tracks in random id order")
    parser.add_argument("--playlists", type=int, default=0, help="N flat one-track playlists")
    parser.add_argument("--folder-chain", type=int, default=0, help="N nested folders, a playlist in each")
    parser.add_argument("--repeat", type=int, default=0, help="one playlist listing a track N times")
    args = parser.parse_args()

    rng = Rng(args.seed)
    tracks = make_tracks(rng, args.tracks)
    for t in tracks:
        if not t["url"]:
            t["path"] = "Music/%s/%s/%02d %s.%s" % (
                file_name(t["album_artist"]), file_name(t["album"]), t["number"], file_name(t["name"]), t["ext"])

    os.makedirs(args.out_dir, exist_ok=True)
    library = os.path.join(args.out_dir, "iTunes Music Library.xml")
    with open(library, "w", encoding="utf-8", newline="\n") as out:
        out.writelines(line + "\n" for line in library_lines(rng, tracks, args))

    created = 0
    if not args.no_media:
        for t in tracks:
            if t["url"] or t["missing"]:
                continue
            path = os.path.join(args.out_dir, t["path"])
            os.makedirs(os.path.dirname(path), exist_ok=True)
            open(path, "wb").close()
            created += 1
    size = os.path.getsize(library)
    print("%s: %d tracks, %.1f MB, %d media files" % (library, len(tracks), size / 1e6, created))
    return 0


if __name__ == "__main__":
    sys.exit(main())
