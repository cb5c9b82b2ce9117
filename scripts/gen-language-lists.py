#!/usr/bin/env python3
"""Generates data/lang/Langues.Lng and data/lang/Pays.Lng from Debian's iso-codes data.

    scripts/gen-language-lists.py [--check] [--iso-codes DIR] [--locale DIR] [--out DIR]

Sources (package iso-codes, `apt-get install iso-codes`):
  - DIR/iso_639-2.json: every language that has a two-letter code, with its three-letter codes;
  - DIR/iso_639-3.json: the short English names, which translate better than the 639-2 ones
    ("Spanish" rather than "Spanish; Castilian");
  - DIR/iso_3166-1.json: every country;
  - LOCALE/{fr,es}/LC_MESSAGES/iso_639-{2,3}.mo and iso_3166-1.mo: the French and Spanish names.

Layout, fixed by the loader in src/db (1-based columns):
  Langues.Lng  1-2 two-letter code, 5-11 three-letter code(s), 14- French name.
               Two codes are written "bibliographic/terminologic" ("fre/fra"); the loader keeps
               the second one, which is the code the rest of the world uses.
  Pays.Lng     1-2 language (FR, EN, ES), 4-5 country code, 7- the country's name.
Lines starting with ";" or "[" are skipped by the loader; the files use both.

The output is sorted (by code, then language), UTF-8 without BOM, LF line ends, so that two runs
on the same iso-codes version give the same bytes. The loader's tables refuse duplicates (same
name or same three-letter code; same language and country code or name, without regard to ASCII
case) and names longer than the columns (60 and 50 characters): the script checks both and fails,
naming the offending entries, rather than write a file the program would only load in part.

With --check nothing is written; the exit status says whether the committed files are up to date.
"""

import argparse
import gettext
import json
import os
import subprocess
import sys

LANGUAGE_NAME_MAX = 60
COUNTRY_NAME_MAX = 50
COUNTRY_LANGUAGES = ("FR", "EN", "ES")
MACROLANGUAGE_SUFFIX = " (macrolangue)"


def load_json(iso_dir, stem):
    with open(os.path.join(iso_dir, stem + ".json"), encoding="utf-8") as f:
        return json.load(f)[stem[4:]]


def load_catalog(locale_dir, lang, domain):
    path = os.path.join(locale_dir, lang, "LC_MESSAGES", domain + ".mo")
    with open(path, "rb") as f:
        return gettext.GNUTranslations(f)


def translated(catalog, msgid):
    """The translation of msgid, or None when the catalogue has none."""
    if catalog is None or not msgid:
        return None
    text = catalog.gettext(msgid)
    # gettext hands back the msgid when it has no entry; a name spelt the same in both languages
    # ("Angola") is then still right, so only a missing entry for a different spelling is lost.
    return text if text != msgid or msgid in catalog._catalog else None


def iso_codes_version():
    try:
        out = subprocess.run(["dpkg-query", "-W", "-f=${Version}", "iso-codes"], capture_output=True, text=True,
                             check=False)
        return out.stdout.strip() or "unknown"
    except OSError:
        return "unknown"


def drop_parenthesis(name):
    cut = name.find(" (")
    return name[:cut] if cut > 0 else name


def first_lower(text):
    return text[:1].lower() + text[1:]


def first_upper(text):
    return text[:1].upper() + text[1:]


def language_rows(iso_dir, locale_dir):
    fr2 = load_catalog(locale_dir, "fr", "iso_639-2")
    fr3 = load_catalog(locale_dir, "fr", "iso_639-3")
    by_alpha3 = {entry["alpha_3"]: entry for entry in load_json(iso_dir, "iso_639-3")}
    rows = []
    for entry in load_json(iso_dir, "iso_639-2"):
        code2 = entry.get("alpha_2")
        if not code2:
            continue
        term = entry["alpha_3"]
        bib = entry.get("bibliographic", term)
        codes = term if bib == term else bib + "/" + term
        short = by_alpha3.get(term)
        name = translated(fr3, short["name"]) if short else None
        if name is None:
            # 639-2 names list synonyms ("Haitian; Haitian Creole"): the first one is the name.
            name = (translated(fr2, entry["name"]) or entry["name"]).split(";")[0].strip()
        if name.endswith(MACROLANGUAGE_SUFFIX):
            name = name[: -len(MACROLANGUAGE_SUFFIX)]
        if len(name) > LANGUAGE_NAME_MAX:
            name = drop_parenthesis(name)
        # French writes language names in lower case ("français"); the catalogues are not even.
        rows.append((code2, codes, first_lower(name)))
    return sorted(rows)


def country_name(catalog, entry):
    common = entry.get("common_name")
    if catalog is None:
        return common or entry["name"]
    # The short common name ("Bolivie") reads better in a list than the official-style one
    # ("Bolivie, état plurinational de"), but only when the catalogue translates it.
    name = translated(catalog, common) or translated(catalog, entry["name"]) or entry["name"]
    return first_upper(name)


def country_rows(iso_dir, locale_dir):
    catalogs = {
        "FR": load_catalog(locale_dir, "fr", "iso_3166-1"),
        "EN": None,
        "ES": load_catalog(locale_dir, "es", "iso_3166-1"),
    }
    countries = load_json(iso_dir, "iso_3166-1")
    rows = []
    for lang in COUNTRY_LANGUAGES:
        for entry in countries:
            rows.append((lang, entry["alpha_2"], country_name(catalogs[lang], entry)))
    order = {lang: i for i, lang in enumerate(COUNTRY_LANGUAGES)}
    return sorted(rows, key=lambda r: (order[r[0]], r[1]))


def ascii_fold(text):
    """The comparison of SQLite's NOCASE: ASCII letters only."""
    return "".join(c.lower() if "A" <= c <= "Z" else c for c in text)


def find_problems(rows, key_columns, name_column, name_max, what):
    problems = []
    seen = {}
    for row in rows:
        for cols in key_columns:
            key = tuple(ascii_fold(row[c]) for c in cols)
            if key in seen.setdefault(cols, {}):
                problems.append(f"{what}: {row} repeats {seen[cols][key]}")
            seen[cols][key] = row
        if len(row[name_column]) > name_max:
            problems.append(f"{what}: {row} has a name longer than {name_max} characters")
        if any(c in "\r\n" for c in row[name_column]):
            problems.append(f"{what}: {row} has a line break in its name")
    return problems


def languages_text(rows, version):
    lines = [
        "; Langues.Lng: the languages that have a two-letter ISO 639-1 code, with their French names.",
        f"; Generated by scripts/gen-language-lists.py from iso-codes {version}; edit the script, not this file.",
        "; Columns: 1-2 two-letter code, 5-11 three-letter code(s) as bibliographic/terminologic, 14- name.",
        "",
        "[Langues]",
    ]
    for code2, codes, name in rows:
        lines.append(f"{code2:<2}  {codes:<7}  {name}")
    return "\n".join(lines) + "\n"


def countries_text(rows, version):
    lines = [
        "; Pays.Lng: the ISO 3166-1 countries in French (FR), English (EN) and Spanish (ES).",
        f"; Generated by scripts/gen-language-lists.py from iso-codes {version}; edit the script, not this file.",
        "; Columns: 1-2 language, 4-5 country code, 7- name.",
    ]
    current = None
    for lang, code, name in rows:
        if lang != current:
            lines += ["", f"[{lang}]"]
            current = lang
        lines.append(f"{lang} {code} {name}")
    return "\n".join(lines) + "\n"


def write_or_check(path, text, check):
    data = text.encode("utf-8")
    if check:
        try:
            with open(path, "rb") as f:
                return f.read() == data
        except OSError:
            return False
    tmp = path + ".tmp"
    with open(tmp, "wb") as f:
        f.write(data)
    os.replace(tmp, path)
    return True


def main():
    root = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--iso-codes", default="/usr/share/iso-codes/json", help="folder of the iso-codes JSON files")
    parser.add_argument("--locale", default="/usr/share/locale", help="folder of the translations")
    parser.add_argument("--out", default=os.path.join(root, "data", "lang"), help="where the two files go")
    parser.add_argument("--check", action="store_true", help="compare with the files instead of writing them")
    args = parser.parse_args()

    try:
        languages = language_rows(args.iso_codes, args.locale)
        countries = country_rows(args.iso_codes, args.locale)
    except (OSError, KeyError, ValueError) as error:
        sys.exit(f"gen-language-lists: cannot read the iso-codes data ({error}); apt-get install iso-codes")

    # The loader keeps the second of two codes: check that one, as the table sees it.
    kept = [(c2, codes.split("/")[-1], name) for c2, codes, name in languages]
    problems = find_problems(kept, [(1,), (2,)], 2, LANGUAGE_NAME_MAX, "Langues.Lng")
    problems += find_problems(countries, [(0, 1), (0, 2)], 2, COUNTRY_NAME_MAX, "Pays.Lng")
    if problems:
        sys.exit("gen-language-lists: refused\n  " + "\n  ".join(problems))

    version = iso_codes_version()
    files = {
        "Langues.Lng": languages_text(languages, version),
        "Pays.Lng": countries_text(countries, version),
    }
    stale = [name for name, text in files.items() if not write_or_check(os.path.join(args.out, name), text, args.check)]
    if args.check and stale:
        sys.exit("gen-language-lists: out of date: " + ", ".join(stale))
    print(f"gen-language-lists: {len(languages)} languages, {len(countries)} countries"
          + (" (up to date)" if args.check else f" written to {args.out}"))


if __name__ == "__main__":
    main()
