#!/usr/bin/env python3
"""Write tests/data/names_corpus.tsv: person names as mailing lists carry them,
grouped by form, each with the five parts it must split into.

Every case is built from its parts: a template puts known parts (a given
name, an initial, a surname, a title, a suffix) into a written form, so the
expected split is the parts the template used, never what the parser says.
Given names and surnames are drawn from the project's frequency tables
(data/namekb/*_freq.txt, reduced from the US Census and SSA statistics) and
from short hand-written lists; the random draws are seeded, so the file is
the same on every run.

Line: INPUT<TAB>PREFIX<TAB>FIRST<TAB>MIDDLE<TAB>LAST<TAB>SUFFIX
"## name" opens a group; "## name<TAB>keep-punctuation" marks a group whose
punctuation carries the meaning (LAST, FIRST), left out of the run in upper
case without punctuation.
"""
import os
import random

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..")
KB = os.path.join(ROOT, "data", "namekb")
OUT = os.path.join(ROOT, "tests", "data", "names_corpus.tsv")

rng = random.Random(20)


def read_freq(name, cols):
    out = {}
    with open(os.path.join(KB, name)) as f:
        for line in f:
            if line.startswith("#"):
                continue
            p = line.split()
            out[p[0]] = [float(x) for x in p[1:1 + cols]]
    return out


def words(name):
    out = set()
    with open(os.path.join(KB, name)) as f:
        for line in f:
            line = line.strip()
            if line and not line.startswith("#"):
                out.update(line.upper().split())
    return out


SUR = {k: v[0] for k, v in read_freq("surname_freq.txt", 1).items()}
GIV = {k: (v[0] + v[1]) / 2 for k, v in read_freq("given_freq.txt", 2).items()}
RESERVED = set()
for f in ("titles.txt", "title_leads.txt", "generational_suffixes.txt", "professional_suffixes.txt",
          "ambiguous_suffixes.txt", "surname_particles.txt", "conjunctions.txt", "ignored_words.txt",
          "suffix_phrases.txt"):
    RESERVED |= words(f)


def s(w):
    return SUR.get(w, 0.0)


def g(w):
    return GIV.get(w, 0.0)


# The commonest given names and surnames of the country, as lists hold them.
TOP_GIVEN = [w for w in sorted(GIV, key=lambda w: -GIV[w])[:400] if w not in RESERVED and len(w) > 1 and len(w) <= 15]
TOP_SUR = [w for w in sorted(SUR, key=lambda w: -SUR[w])[:1500] if w not in RESERVED and len(w) > 1 and len(w) <= 20]
# For the forms whose reading depends on the words: a given name that is
# hardly ever a surname, and a surname that is hardly ever a given name.
CLEAR_GIVEN = [w for w in TOP_GIVEN if g(w) > 20 * s(w)]
CLEAR_SUR = [w for w in TOP_SUR if s(w) > 20 * g(w) and s(w) >= 5]

cases = []  # (group, flags, input, parts)


def add(group, inp, prefix="", first="", middle="", last="", suffix="", flags=""):
    cases.append((group, flags, inp, (prefix, first, middle, last, suffix)))


def mixed(w):
    """List-style capitalisation: MCDONALD -> Mcdonald, O'BRIEN -> O'brien."""
    return "-".join(p[:1] + p[1:].lower() for p in w.split("-"))


def pick(xs):
    return rng.choice(xs)


def initial():
    return rng.choice("ABCDEFGHJKLMNPRSTW")


# ---- plain forms -----------------------------------------------------------
G = "first last"
for _ in range(160):
    f, l = pick(TOP_GIVEN), pick(TOP_SUR)
    add(G, f"{mixed(f)} {mixed(l)}" if rng.random() < 0.5 else f"{f} {l}", first=f, last=l)

G = "first initial last"
for _ in range(140):
    f, l, i = pick(TOP_GIVEN), pick(TOP_SUR), initial()
    form = rng.randrange(3)
    inp = [f"{f} {i} {l}", f"{mixed(f)} {i}. {mixed(l)}", f"{f} {i}. {l}"][form]
    add(G, inp, first=f, middle=i, last=l)

G = "first middle last"
for _ in range(80):
    f, m, l = pick(CLEAR_GIVEN), pick(CLEAR_GIVEN), pick(TOP_SUR)
    if m == f:
        continue
    add(G, f"{mixed(f)} {mixed(m)} {mixed(l)}", first=f, middle=m, last=l)

G = "last, first initial"
for _ in range(100):
    f, l, i = pick(TOP_GIVEN), pick(TOP_SUR), initial()
    form = rng.randrange(3)
    inp = [f"{l}, {f} {i}", f"{mixed(l)}, {mixed(f)} {i}.", f"{l},{f}"][form]
    add(G, inp, first=f, middle=i if form < 2 else "", last=l, flags="keep-punctuation")

G = "titles"
TITLES = ["MR", "MRS", "MS", "DR", "REV", "MISS", "PROF", "CAPT", "SGT", "HON", "FR", "SISTER", "RABBI", "JUDGE"]
for _ in range(70):
    t, f, l = pick(TITLES), pick(TOP_GIVEN), pick(TOP_SUR)
    dotted = t in ("MR", "MRS", "MS", "DR", "REV", "PROF", "CAPT", "SGT", "HON", "FR") and rng.random() < 0.5
    add(G, f"{mixed(t)}{'.' if dotted else ''} {mixed(f)} {mixed(l)}", prefix=t, first=f, last=l)

G = "suffixes JR SR II III"
for _ in range(60):
    f, l, x = pick(TOP_GIVEN), pick(TOP_SUR), pick(["JR", "SR", "II", "III"])
    dotted = x in ("JR", "SR") and rng.random() < 0.5
    add(G, f"{f} {l} {x}{'.' if dotted else ''}", first=f, last=l, suffix=x)

# ---- the families ------------------------------------------------------------
G = "given name and a lone initial"
for _ in range(90):
    f, i = pick(CLEAR_GIVEN), initial()
    form = rng.randrange(4)
    inp = [f"{f} {i}", f"{mixed(f)} {i}.", f"{f} {i}.", f"{mixed(f)} {i}"][form]
    add(G, inp, first=f, middle=i)
for _ in range(20):
    t, f, i = pick(["MR", "MRS", "MS", "DR"]), pick(CLEAR_GIVEN), initial()
    add(G, f"{t} {f} {i}", prefix=t, first=f, middle=i)

G = "comma before a suffix or credential"
for _ in range(50):
    f, i, x = pick(CLEAR_GIVEN), initial(), pick(["JR", "SR", "III", "MD", "CPA", "DDS", "ESQ"])
    dotted = {"JR": "JR.", "SR": "SR.", "MD": "M.D.", "ESQ": "ESQ.", "DDS": "D.D.S."}.get(x, x)
    form = rng.randrange(3)
    inp = [f"{f} {i}, {x}", f"{mixed(f)} {i}., {dotted}", f"{f} {i} , {x}"][form]
    add(G, inp, first=f, middle=i, suffix=x)
for _ in range(40):
    f, l = pick(TOP_GIVEN), pick(TOP_SUR)
    xs = pick([["CPA", "CFP"], ["MD", "PHD"], ["JR", "CPA"], ["ESQ"], ["RN"], ["DDS", "MS"], ["MBA"], ["PE"]])
    add(G, f"{f} {l}, " + ", ".join(xs), first=f, last=l, suffix=" ".join(xs))

G = "surname first without comma"
for _ in range(90):
    l, f = pick(CLEAR_SUR), pick(CLEAR_GIVEN)
    add(G, f"{l} {f}" if rng.random() < 0.6 else f"{mixed(l)} {mixed(f)}", first=f, last=l)
for _ in range(60):
    l, f, i = pick(CLEAR_SUR), pick(CLEAR_GIVEN), initial()
    add(G, f"{l} {f} {i}", first=f, middle=i, last=l)
for _ in range(30):
    l, f, m = pick(CLEAR_SUR), pick(CLEAR_GIVEN), pick(CLEAR_GIVEN)
    if f != m:
        add(G, f"{l} {f} {m}", first=f, middle=m, last=l)

G = "generations past III"
for _ in range(60):
    f, l, x = pick(CLEAR_GIVEN), pick(CLEAR_SUR), pick(["IV", "V", "VI"])
    form = rng.randrange(4)
    inp = [f"{f} {l} {x}", f"{f} {l}, {x}", f"{mixed(f)} {mixed(l)} ({x})", f"{f} {initial()} {l} {x}"][form]
    mid = inp.split()[1] if form == 3 else ""
    add(G, inp, first=f, middle=mid, last=l, suffix=x)

G = "office and professional titles"
OFFICES = ["STATE SENATOR", "STATE REPRESENTATIVE", "CONGRESSWOMAN", "CONGRESSMAN", "ATTORNEY", "ATTY",
           "PASTOR", "US SENATOR", "COUNCILMAN", "COUNCILWOMAN", "DEPUTY SHERIFF", "VICE ADMIRAL",
           "COUNTY COMMISSIONER", "SHERIFF", "SUPERINTENDENT", "CHAPLAIN", "BISHOP", "ELDER",
           "MOST REV", "RT REV", "REV DR", "THE HONORABLE", "DISTRICT ATTORNEY", "ASSEMBLYMAN", "MAYOR",
           "EVANGELIST", "MINISTER", "LT COL", "STATE REP", "DEACON"]
for _ in range(80):
    t, f, l = pick(OFFICES), pick(TOP_GIVEN), pick(TOP_SUR)
    form = rng.randrange(3)
    inp = [f"{t} {f} {l}", f"{' '.join(mixed(x) for x in t.split())} {mixed(f)} {mixed(l)}",
           f"{t} {f} {initial()} {l}"][form]
    add(G, inp, prefix=t, first=f, middle=inp.split()[-2] if form == 2 else "", last=l)

G = "credentials and occupations after the name"
CREDS = [("ATTORNEY AT LAW", "ATTORNEY AT LAW"), ("ATTY AT LAW", "ATTY AT LAW"), ("REALTOR", "REALTOR"),
         ("REALTOR GRI", "REALTOR GRI"), ("AIA", "AIA"), ("TRUSTEE", "TRUSTEE"), ("M.D. S.C.", "MD SC"),
         ("TTEE", "TTEE"), ("CPA PC", "CPA PC"), ("DDS PC", "DDS PC"), ("ESQ", "ESQ"),
         ("SUCCESSOR TRUSTEE", "SUCCESSOR TRUSTEE"), ("EXECUTOR", "EXECUTOR"), ("ABR CRS", "ABR CRS"),
         ("CFP", "CFP"), ("DVM", "DVM"), ("LCSW", "LCSW"), ("PHD", "PHD"), ("JR ATTORNEY AT LAW", "JR ATTORNEY AT LAW"),
         ("COUNSELOR AT LAW", "COUNSELOR AT LAW")]
for _ in range(80):
    (w, x), f, l = pick(CREDS), pick(TOP_GIVEN), pick(TOP_SUR)
    form = rng.randrange(3)
    inp = [f"{f} {l} {w}", f"{f} {l}, {w}", f"{f} {initial()} {l} {w}"][form]
    add(G, inp, first=f, middle=inp.split()[1] if form == 2 else "", last=l, suffix=x)

G = "two-word given names"
JOINED = [("LA SHAWN", "LA SHAWN"), ("LA TOYA", "LA TOYA"), ("LA KEISHA", "LA KEISHA"), ("LA TONYA", "LA TONYA"),
          ("DE ANDRE", "DE ANDRE"), ("DE SHAWN", "DE SHAWN"), ("DE WAYNE", "DE WAYNE"), ("LA DONNA", "LA DONNA"),
          ("MA VICTORIA", "MA VICTORIA"), ("MA TERESA", "MA TERESA"), ("MA LUISA", "MA LUISA"),
          ("MA CRISTINA", "MA CRISTINA"), ("MA ELENA", "MA ELENA"), ("MA. VICTORIA", "MA VICTORIA"),
          ("DA SHAWN", "DA SHAWN"), ("LA TASHA", "LA TASHA")]
# Both words given names of their own: the second is the middle name.
APART = [("MARY JO", "MARY", "JO"), ("JO ANNE", "JO", "ANNE"), ("BILLY JOE", "BILLY", "JOE"),
         ("MARY LOU", "MARY", "LOU"), ("BETTY JO", "BETTY", "JO"), ("PEGGY SUE", "PEGGY", "SUE"),
         ("ANNA MAE", "ANNA", "MAE"), ("MARY ANN", "MARY", "ANN"), ("LEE ANN", "LEE", "ANN"),
         ("JOHN PAUL", "JOHN", "PAUL"), ("ROSE MARIE", "ROSE", "MARIE")]
for _ in range(50):
    (w, x), l = pick(JOINED), pick(TOP_SUR)
    form = rng.randrange(3)
    if form == 0:
        add(G, f"{w} {l}", first=x, last=l)
    elif form == 1:
        add(G, f"{l}, {w}", first=x, last=l, flags="keep-punctuation")
    else:
        add(G, f"{w} {initial()} {l}", first=x, middle="?", last=l)
        inp = cases[-1][2]
        cases[-1] = (G, "", inp, ("", x, inp.split()[-2], l, ""))
for _ in range(40):
    (w, f, m), l = pick(APART), pick(TOP_SUR)
    if rng.random() < 0.7:
        add(G, f"{w} {l}", first=f, middle=m, last=l)
    else:
        add(G, f"{l}, {w}", first=f, middle=m, last=l, flags="keep-punctuation")

G = "double surnames and particles"
HISP_GIVEN = ["JOSE", "JUAN", "CARLOS", "LUIS", "JORGE", "MIGUEL", "ANA", "MARIA", "ROSA", "CARMEN", "GLORIA",
              "JAVIER", "PEDRO", "RAFAEL", "FERNANDO", "ALEJANDRO", "SOFIA", "ELENA", "DIEGO", "RAMON", "ROBERTO",
              "ALBERTO", "LUZ", "ADRIANA", "VERONICA"]
HISP_SUR = ["GARCIA", "RODRIGUEZ", "MARTINEZ", "HERNANDEZ", "LOPEZ", "GONZALEZ", "PEREZ", "SANCHEZ", "RAMIREZ",
            "TORRES", "FLORES", "RIVERA", "GOMEZ", "DIAZ", "REYES", "MORALES", "ORTIZ", "GUTIERREZ", "CHAVEZ",
            "RAMOS", "RUIZ", "MENDOZA", "ALVAREZ", "CASTILLO", "JIMENEZ", "VASQUEZ", "MORENO", "HERRERA",
            "MEDINA", "AGUILAR", "VARGAS", "GUZMAN", "CASTRO", "ROMERO", "SALAZAR", "DOMINGUEZ", "SOTO",
            "VEGA", "NAVARRO", "ACOSTA"]
for _ in range(50):
    f, a, b = pick(HISP_GIVEN), pick(HISP_SUR), pick(HISP_SUR)
    if a != b:
        add(G, f"{f} {a} {b}" if rng.random() < 0.6 else f"{mixed(f)} {mixed(a)} {mixed(b)}", first=f, last=f"{a} {b}")
PART = [("DELA CRUZ", "DELA CRUZ"), ("DELA ROSA", "DELA ROSA"), ("DE LA CRUZ", "DE LA CRUZ"), ("O MEARA", "O MEARA"),
        ("O CONNOR", "O CONNOR"), ("O NEILL", "O NEILL"), ("O BRIEN", "O BRIEN"), ("O HARA", "O HARA"),
        ("O DONNELL", "O DONNELL"), ("DE VRIENDT", "DE VRIENDT"), ("VAN DER MEER", "VAN DER MEER"),
        ("VON TRAPP", "VON TRAPP"), ("DI MARCO", "DI MARCO"), ("DU BOIS", "DU BOIS"), ("LE GRAND", "LE GRAND"),
        ("ST CLAIR", "ST CLAIR"), ("MAC DONALD", "MAC DONALD"), ("AL RASHID", "AL RASHID"),
        ("DE LEON", "DE LEON"), ("DEL VALLE", "DEL VALLE"), ("VAN HOUTEN", "VAN HOUTEN"), ("DOS SANTOS", "DOS SANTOS"),
        ("O'CONNOR", "O'CONNOR"), ("D'ANGELO", "D'ANGELO")]
for _ in range(70):
    (w, x), f = pick(PART), pick(TOP_GIVEN)
    form = rng.randrange(4)
    if form == 0:
        add(G, f"{f} {w}", first=f, last=x)
    elif form == 1:
        i = initial()
        add(G, f"{f} {i} {w}", first=f, middle=i, last=x)
    elif form == 2:
        add(G, f"{w}, {f}", first=f, last=x, flags="keep-punctuation")
    else:
        add(G, f"{' '.join(mixed(p) for p in w.split())} {mixed(f)} {initial()}", first=f, last=x)
        inp = cases[-1][2]
        cases[-1] = (G, "", inp, ("", f, inp.split()[-1], x, ""))

G = "letters outside ASCII"
ACC = [("André", "ANDRE"), ("José", "JOSE"), ("García", "GARCIA"), ("Zoë", "ZOE"), ("Müller", "MULLER"),
       ("François", "FRANCOIS"), ("Lefèvre", "LEFEVRE"), ("Łukasz", "LUKASZ"), ("Wójcik", "WOJCIK"),
       ("Søren", "SOREN"), ("Björn", "BJORN"), ("Renée", "RENEE"), ("Jürgen", "JURGEN"), ("Groß", "GROSS"),
       ("Inés", "INES"), ("Peña", "PENA"), ("Núñez", "NUNEZ"), ("Chloé", "CHLOE"), ("Raúl", "RAUL"),
       ("Dvořák", "DVORAK"), ("Ángel", "ANGEL"), ("Héctor", "HECTOR"), ("Çelik", "CELIK"), ("Šimon", "SIMON"),
       ("Ærø", "AERO"), ("Élodie", "ELODIE"), ("Gonçalves", "GONCALVES"), ("Jesús", "JESUS"), ("Ibáñez", "IBANEZ"),
       ("Zoltán", "ZOLTAN")]
GIVEN_ACC = ["André", "José", "Zoë", "François", "Łukasz", "Søren", "Björn", "Renée", "Jürgen", "Inés", "Chloé",
             "Raúl", "Ángel", "Héctor", "Élodie", "Jesús", "Zoltán", "Šimon"]
SUR_ACC = ["García", "Müller", "Lefèvre", "Wójcik", "Groß", "Peña", "Núñez", "Dvořák", "Çelik", "Gonçalves",
           "Ibáñez"]
PLAIN = dict(ACC)


def latin1(t):
    try:
        return t.encode("latin-1")
    except UnicodeEncodeError:
        return None


def mojibake(t):
    return t.encode("utf-8").decode("latin-1").encode("utf-8")


for _ in range(70):
    f, l = pick(GIVEN_ACC), pick(SUR_ACC)
    text = f"{f} {l}"
    form = rng.randrange(3)
    if form == 0:
        raw = text.encode("utf-8")
    elif form == 1:
        raw = latin1(text) or text.encode("utf-8")
    else:
        raw = mojibake(text)
    cases.append((G, "", raw, ("", PLAIN[f], "", PLAIN[l], "")))
for _ in range(10):
    f, l = pick(GIVEN_ACC), pick(SUR_ACC)
    cases.append((G, "", f"{l.upper()}, {f.upper()} {initial()}".encode("utf-8"), None))
    inp = cases[-1][2].decode("utf-8")
    cases[-1] = (G, "keep-punctuation", cases[-1][2], ("", PLAIN[f], inp.split()[-1], PLAIN[l], ""))

G = "couples"
for _ in range(40):
    f1, f2, l = pick(CLEAR_GIVEN), pick(CLEAR_GIVEN), pick(TOP_SUR)
    form = rng.randrange(4)
    inp = [f"{f1} AND {f2} {l}", f"{f1} & {f2} {l}", f"MR AND MRS {f1} {l}", f"{mixed(f1)} & {mixed(f2)} {mixed(l)}"][form]
    add(G, inp, prefix="MR" if form == 2 else "", first=f1, last=l)


def field(x):
    return x.encode("utf-8") if isinstance(x, str) else x


def main():
    groups = []
    by = {}
    for c in cases:
        if c[0] not in by:
            groups.append(c[0])
            by[c[0]] = []
        by[c[0]].append(c)
    with open(OUT, "wb") as f:
        f.write(b"# Person names as mailing lists carry them, with the five parts each splits into.\n"
                b"# Generated by scripts/make_name_corpus.py from templates; do not edit by hand.\n"
                b"# INPUT<TAB>PREFIX<TAB>FIRST<TAB>MIDDLE<TAB>LAST<TAB>SUFFIX; some inputs are Latin-1 bytes.\n")
        n = 0
        seen = set()
        for gname in groups:
            flags = by[gname][0][1] if all(c[1] == by[gname][0][1] for c in by[gname]) else ""
            f.write(f"## {gname}".encode() + (b"\t" + flags.encode() if flags else b"") + b"\n")
            for _, fl, inp, parts in by[gname]:
                key = field(inp)
                if key in seen:
                    continue
                seen.add(key)
                line = b"\t".join([key] + [p.encode() for p in parts])
                if fl and not flags:
                    line += b"\t" + fl.encode()
                f.write(line + b"\n")
                n += 1
    print(f"wrote {OUT}: {n} cases in {len(groups)} groups")


main()
