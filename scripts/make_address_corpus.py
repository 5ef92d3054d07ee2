#!/usr/bin/env python3
"""Writes the labelled address corpus of the verifier's tests:
tests/data/addresses/<group>.tsv, one file per form of address.

Each row: address line, second address line, last line, then the expected
primary number, pre-directional, street name, suffix, post-directional,
designator, secondary number, urbanization, city, state, ZIP and ZIP+4.
The expected standard forms are written out here, by hand, from USPS
Publication 28; the verifier's own tables are not read. Rows are drawn with a
fixed seed so that the files do not change from run to run.

    python3 scripts/make_address_corpus.py [OUTDIR]
"""
import os
import random
import sys

OUT = sys.argv[1] if len(sys.argv) > 1 else os.path.join(
    os.path.dirname(os.path.abspath(__file__)), "..", "tests", "data", "addresses")
COLUMNS = ["line1", "line2", "last", "primary", "predir", "street", "suffix", "postdir",
           "designator", "secondary", "urbanization", "city", "state", "zip", "zip4"]

rng = random.Random(16)

# (written form, standard abbreviation) - a spread of Publication 28 suffixes.
SUFFIXES = [
    ("STREET", "ST"), ("ST", "ST"), ("STR", "ST"), ("AVENUE", "AVE"), ("AVE", "AVE"), ("AV", "AVE"),
    ("AVEN", "AVE"), ("AVNUE", "AVE"), ("BOULEVARD", "BLVD"), ("BLVD", "BLVD"), ("BOUL", "BLVD"),
    ("ROAD", "RD"), ("RD", "RD"), ("DRIVE", "DR"), ("DR", "DR"), ("DRV", "DR"), ("LANE", "LN"),
    ("LN", "LN"), ("COURT", "CT"), ("CT", "CT"), ("PLACE", "PL"), ("PL", "PL"), ("TERRACE", "TER"),
    ("TERR", "TER"), ("CIRCLE", "CIR"), ("CIRC", "CIR"), ("CRCL", "CIR"), ("PARKWAY", "PKWY"),
    ("PKWY", "PKWY"), ("PKY", "PKWY"), ("WAY", "WAY"), ("TRAIL", "TRL"), ("SQUARE", "SQ"),
    ("PLAZA", "PLZ"), ("HEIGHTS", "HTS"), ("CROSSING", "XING"), ("EXPRESSWAY", "EXPY"),
    ("COVE", "CV"), ("HOLLOW", "HOLW"), ("JUNCTION", "JCT"), ("LOOP", "LOOP"), ("ALLEY", "ALY"),
    ("CRESCENT", "CRES"), ("GROVE", "GRV"), ("POINT", "PT"), ("RIDGE", "RDG"), ("RUN", "RUN"),
    ("ROW", "ROW"), ("PATH", "PATH"), ("PIKE", "PIKE"), ("WALK", "WALK"), ("VALLEY", "VLY"),
    ("VIEW", "VW"), ("MOUNTAIN", "MTN"), ("TURNPIKE", "TPKE"), ("FREEWAY", "FWY"),
    ("CAUSEWAY", "CSWY"), ("ESTATES", "ESTS"), ("GARDENS", "GDNS"), ("LANDING", "LNDG"),
    ("MANOR", "MNR"), ("MEADOWS", "MDWS"), ("SPRINGS", "SPGS"), ("STATION", "STA"),
    ("BYPASS", "BYP"), ("CENTER", "CTR"), ("CENTRE", "CTR"), ("EXTENSION", "EXT"),
    ("KNOLLS", "KNLS"), ("ORCHARD", "ORCH"), ("PASSAGE", "PSGE"), ("TRACE", "TRCE"),
    ("HIGHWAY", "HWY"), ("HARBOR", "HBR"), ("ISLAND", "IS"), ("CREEK", "CRK"), ("CANYON", "CYN"),
    ("SUMMIT", "SMT"), ("VILLAGE", "VLG"), ("VISTA", "VIS"), ("BRIDGE", "BRG"), ("BRANCH", "BR"),
    ("FERRY", "FRY"), ("FIELDS", "FLDS"), ("FOREST", "FRST"), ("GLEN", "GLN"), ("LAKES", "LKS"),
    ("SHORES", "SHRS"), ("ALLEE", "ALY"), ("ANNEX", "ANX"), ("BAYOU", "BYU"), ("BLUFF", "BLF"),
    ("CLIFFS", "CLFS"), ("COMMONS", "CMNS"), ("CORNERS", "CORS"), ("DALE", "DL"),
    ("DIVIDE", "DV"), ("FALLS", "FLS"), ("FORD", "FRD"), ("FORGE", "FRG"), ("FORT", "FT"),
    ("GATEWAY", "GTWY"), ("GREEN", "GRN"), ("HAVEN", "HVN"), ("INLET", "INLT"), ("KNOLL", "KNL"),
    ("LODGE", "LDG"), ("MILLS", "MLS"), ("MISSION", "MSN"), ("MOUNT", "MT"), ("NECK", "NCK"),
    ("OVAL", "OVAL"), ("PINES", "PNES"), ("PRAIRIE", "PR"), ("RADIAL", "RADL"), ("RANCH", "RNCH"),
    ("RAPIDS", "RPDS"), ("SHOAL", "SHL"), ("SKYWAY", "SKWY"), ("SPUR", "SPUR"), ("STREAM", "STRM"),
    ("TRAILER", "TRLR"), ("TUNNEL", "TUNL"), ("UNDERPASS", "UPAS"), ("VIADUCT", "VIA"),
    ("VILLE", "VL"), ("WELLS", "WLS"), ("STRAVENUE", "STRA"), ("THROUGHWAY", "TRWY"),
    ("TRAFFICWAY", "TRFY"), ("MOTORWAY", "MTWY"), ("OVERPASS", "OPAS"), ("CROSSROADS", "XRDS"),
]
# Street names of plain words; some are themselves suffix or directional words.
NAMES = ["MAIN", "OAK", "MAPLE", "CEDAR", "ELM", "WASHINGTON", "LINCOLN", "JEFFERSON", "MADISON",
         "PARK", "LAKE", "HILL", "SPRING", "RIVER", "MILL", "CHURCH", "MARKET", "BROAD", "HIGH",
         "SUNSET", "WILLOW", "BIRCH", "CHESTNUT", "WALNUT", "HICKORY", "MAGNOLIA", "DOGWOOD",
         "OLD MILL", "SPRING VALLEY", "LAKE SHORE", "GRAND", "UNION", "LIBERTY", "FRANKLIN",
         "MARTIN LUTHER KING JR", "SAINT JAMES", "COUNTRY CLUB", "FOREST HILLS", "OCEAN",
         "PEACHTREE", "MOCKINGBIRD", "BAY", "CANAL", "MEADOW", "ORCHARD", "RIDGE", "VALLEY"]
DIRS = [("N", "N"), ("NORTH", "N"), ("S", "S"), ("SOUTH", "S"), ("E", "E"), ("EAST", "E"),
        ("W", "W"), ("WEST", "W"), ("NE", "NE"), ("NORTHEAST", "NE"), ("NW", "NW"),
        ("NORTHWEST", "NW"), ("SE", "SE"), ("SOUTHEAST", "SE"), ("SW", "SW"), ("SOUTHWEST", "SW"),
        ("N.", "N"), ("S.", "S"), ("N.E.", "NE"), ("S.W.", "SW")]
UNITS = [("APT", "APT"), ("APARTMENT", "APT"), ("Apt.", "APT"), ("SUITE", "STE"), ("STE", "STE"),
         ("UNIT", "UNIT"), ("ROOM", "RM"), ("RM", "RM"), ("FLOOR", "FL"), ("FL", "FL"),
         ("BUILDING", "BLDG"), ("BLDG", "BLDG"), ("DEPARTMENT", "DEPT"), ("LOT", "LOT"),
         ("SPACE", "SPC"), ("TRAILER", "TRLR"), ("HANGAR", "HNGR"), ("PIER", "PIER"),
         ("SLIP", "SLIP"), ("STOP", "STOP"), ("#", "#")]
BARE_UNITS = [("BASEMENT", "BSMT"), ("BSMT", "BSMT"), ("FRONT", "FRNT"), ("LOBBY", "LBBY"),
              ("LOWER", "LOWR"), ("OFFICE", "OFC"), ("PENTHOUSE", "PH"), ("PH", "PH"),
              ("REAR", "REAR"), ("SIDE", "SIDE"), ("UPPER", "UPPR")]
UNIT_NUMBERS = ["4B", "12", "1203", "A", "B", "210", "3", "7C", "101", "2F", "16", "500"]
# (city, state as written, state code, ZIP)
PLACES = [("New York", "NY", "NY", "10001"), ("Salem", "Oregon", "OR", "97301"),
          ("Chicago", "IL", "IL", "60614"), ("San Francisco", "California", "CA", "94110"),
          ("Arlington", "VA", "VA", "22201"), ("Kansas City", "Missouri", "MO", "64106"),
          ("Salt Lake City", "UT", "UT", "84101"), ("Boston", "Massachusetts", "MA", "02108"),
          ("Winston-Salem", "North Carolina", "NC", "27101"), ("Rapid City", "South Dakota", "SD", "57701"),
          ("Charleston", "West Virginia", "WV", "25301"), ("Albuquerque", "New Mexico", "NM", "87102"),
          ("Portland", "ME", "ME", "04101"), ("Springfield", "Ill", "IL", "62701"),
          ("Austin", "Texas", "TX", "78701"), ("Miami", "FL", "FL", "33101"),
          ("Des Moines", "Iowa", "IA", "50309"), ("Providence", "Rhode Island", "RI", "02903"),
          ("Trenton", "New Jersey", "NJ", "08608"), ("Concord", "New Hampshire", "NH", "03301"),
          ("Washington", "DC", "DC", "20001"), ("Honolulu", "Hawaii", "HI", "96813"),
          ("Anchorage", "AK", "AK", "99501"), ("Phoenix", "Arizona", "AZ", "85004"),
          ("Denver", "Colo", "CO", "80202"), ("Madison", "Wisconsin", "WI", "53703"),
          ("Saint Paul", "Minnesota", "MN", "55101"), ("Oklahoma City", "OK", "OK", "73102")]

rows = {}


def case(text):
    """The same text in one of the ways people write it."""
    r = rng.random()
    if r < 0.4:
        return text.upper()
    if r < 0.7:
        return " ".join(w.capitalize() if not w[:1].isdigit() else w.lower() for w in text.split(" "))
    if r < 0.85:
        return text.lower()
    return text


def add(group, line1, line2, last, **exp):
    row = [line1, line2, last] + [exp.get(c, "") for c in COLUMNS[3:]]
    rows.setdefault(group, []).append(row)


def last_line(place=None, style=None, zip4=""):
    """A last line in one of its written forms, with what it should give."""
    city, state, code, zipc = place or rng.choice(PLACES)
    style = style if style is not None else rng.randrange(7)
    z = zipc
    exp = {"city": city.upper(), "state": code, "zip": zipc, "zip4": ""}
    if style == 0:
        text = f"{city}, {state} {z}"
    elif style == 1:
        text = f"{city} {state} {z}"
    elif style == 2:
        zip4 = zip4 or f"{rng.randrange(1, 9999):04d}"
        text = f"{city}, {state} {z}-{zip4}"
        exp["zip4"] = zip4
    elif style == 3:
        zip4 = zip4 or f"{rng.randrange(1, 9999):04d}"
        text = f"{city} {state} {z}{zip4}"
        exp["zip4"] = zip4
    elif style == 4:
        text = f"{city}, {z}"
        exp["state"] = ""
    elif style == 5:
        text = f"{city}, {state}"
        exp["zip"] = ""
    else:
        text = f"{city},{state},{z}"
    return case(text), exp


def street_rows():
    for _ in range(260):
        name = rng.choice(NAMES)
        written, std = rng.choice(SUFFIXES)
        num = str(rng.randrange(1, 20000))
        if rng.random() < 0.2:
            written = written.capitalize() + "."
        last, exp = last_line()
        add("street", case(f"{num} {name} ") + written, "", last, primary=num, street=name, suffix=std, **exp)


def directional_rows():
    for _ in range(150):
        name = rng.choice(NAMES)
        written, std = rng.choice(SUFFIXES[:40])
        num = str(rng.randrange(1, 9999))
        dw, dstd = rng.choice(DIRS)
        last, exp = last_line()
        form = rng.randrange(4)
        if form == 0:
            add("directional", case(f"{num} {dw} {name} {written}"), "", last, primary=num, predir=dstd,
                street=name, suffix=std, **exp)
        elif form == 1:
            add("directional", case(f"{num} {name} {written} {dw}"), "", last, primary=num, postdir=dstd,
                street=name, suffix=std, **exp)
        elif form == 2:
            add("directional", case(f"{num} {name} {written}, {dw}"), "", last, primary=num, postdir=dstd,
                street=name, suffix=std, **exp)
        else:
            dw2, dstd2 = rng.choice(DIRS)
            add("directional", case(f"{num} {dw} {name} {written} {dw2}"), "", last, primary=num,
                predir=dstd, street=name, suffix=std, postdir=dstd2, **exp)
    # A directional that is the street name itself.
    for dw in ["NORTH", "SOUTH", "EAST", "WEST", "NORTHWEST", "SOUTHEAST"]:
        for written, std in [("STREET", "ST"), ("AVE", "AVE"), ("BLVD", "BLVD"), ("RD", "RD")]:
            num = str(rng.randrange(1, 999))
            last, exp = last_line()
            add("directional", case(f"{num} {dw} {written}"), "", last, primary=num, street=dw,
                suffix=std, **exp)
            pre, pstd = rng.choice([("E", "E"), ("West", "W"), ("N", "N"), ("South", "S")])
            add("directional", case(f"{num} {pre} {dw} {written}"), "", last, primary=num, predir=pstd,
                street=dw, suffix=std, **exp)
    for letter in ["N", "S", "E", "W"]:
        num = str(rng.randrange(1, 999))
        last, exp = last_line()
        add("directional", case(f"{num} {letter} St"), "", last, primary=num, street=letter, suffix="ST", **exp)


def unit_rows():
    for _ in range(170):
        name = rng.choice(NAMES)
        written, std = rng.choice(SUFFIXES[:30])
        num = str(rng.randrange(1, 9999))
        uw, ustd = rng.choice(UNITS)
        un = rng.choice(UNIT_NUMBERS)
        last, exp = last_line()
        form = rng.randrange(5)
        base = f"{num} {name} {written}"
        if form == 0:
            add("unit", case(f"{base} {uw} {un}"), "", last, primary=num, street=name, suffix=std,
                designator=ustd, secondary=un, **exp)
        elif form == 1:
            add("unit", case(f"{base}, {uw} {un}"), "", last, primary=num, street=name, suffix=std,
                designator=ustd, secondary=un, **exp)
        elif form == 2:
            add("unit", case(base), case(f"{uw} {un}"), last, primary=num, street=name, suffix=std,
                designator=ustd, secondary=un, **exp)
        elif form == 3:
            add("unit", case(f"{base} #{un}"), "", last, primary=num, street=name, suffix=std,
                designator="#", secondary=un, **exp)
        else:
            add("unit", case(f"{base} {uw} #{un}"), "", last, primary=num, street=name, suffix=std,
                designator=ustd, secondary=un, **exp)
    for _ in range(40):
        name = rng.choice(NAMES)
        written, std = rng.choice(SUFFIXES[:30])
        num = str(rng.randrange(1, 9999))
        uw, ustd = rng.choice(BARE_UNITS)
        last, exp = last_line()
        add("unit", case(f"{num} {name} {written} {uw}"), "", last, primary=num, street=name, suffix=std,
            designator=ustd, **exp)


def number_rows():
    for _ in range(90):
        name = rng.choice(NAMES)
        written, std = rng.choice(SUFFIXES[:30])
        last, exp = last_line()
        form = rng.randrange(5)
        if form == 0:
            n = f"{rng.randrange(1, 999)} 1/2"
        elif form == 1:
            n = f"{rng.randrange(10, 999)}-{rng.randrange(10, 99)}"
        elif form == 2:
            n = f"{rng.randrange(1, 999)}{rng.choice('ABCD')}"
        elif form == 3:
            n = f"{rng.randrange(1, 99)} 3/4"
        else:
            n = f"{rng.randrange(100000, 999999)}"
        add("number", case(f"{n} {name} {written}"), "", last, primary=n.upper(), street=name, suffix=std, **exp)


def ordinal_rows():
    words = [("FIRST", "1ST"), ("SECOND", "2ND"), ("THIRD", "3RD"), ("FOURTH", "4TH"), ("FIFTH", "5TH"),
             ("SIXTH", "6TH"), ("SEVENTH", "7TH"), ("EIGHTH", "8TH"), ("NINTH", "9TH"), ("TENTH", "10TH"),
             ("ELEVENTH", "11TH"), ("TWELFTH", "12TH"), ("THIRTEENTH", "13TH"), ("TWENTIETH", "20TH"),
             ("TWENTY FIRST", "21ST"), ("TWENTY-SECOND", "22ND"), ("THIRTY THIRD", "33RD"),
             ("FORTY-FOURTH", "44TH"), ("FIFTY FIFTH", "55TH"), ("NINETY NINTH", "99TH")]
    for _ in range(60):
        w, std_name = rng.choice(words)
        written, std = rng.choice(SUFFIXES[:20])
        num = str(rng.randrange(1, 9999))
        last, exp = last_line()
        add("ordinal", case(f"{num} {w} {written}"), "", last, primary=num, street=std_name, suffix=std, **exp)
    for _ in range(50):
        n = rng.randrange(1, 150)
        end = "TH" if n % 100 // 10 == 1 else {1: "ST", 2: "ND", 3: "RD"}.get(n % 10, "TH")
        written, std = rng.choice(SUFFIXES[:20])
        dw, dstd = rng.choice(DIRS[:8])
        num = str(rng.randrange(1, 9999))
        last, exp = last_line()
        add("ordinal", case(f"{num} {dw} {n}{end.lower()} {written}"), "", last, primary=num, predir=dstd,
            street=f"{n}{end}", suffix=std, **exp)
    highways = [("HWY 10", "HIGHWAY 10"), ("Highway 61", "HIGHWAY 61"), ("County Road 12", "COUNTY ROAD 12"),
                ("CO RD 5", "COUNTY ROAD 5"), ("US HWY 1", "US HIGHWAY 1"), ("State Route 9", "STATE ROUTE 9"),
                ("Route 66", "ROUTE 66"), ("RTE 20", "ROUTE 20"), ("Interstate 95", "INTERSTATE 95"),
                ("State Hwy 7", "STATE HIGHWAY 7"), ("FM 1960", "FARM TO MARKET ROAD 1960"),
                ("State Road 84", "STATE ROAD 84")]
    for _ in range(40):
        w, std_name = rng.choice(highways)
        num = str(rng.randrange(1, 99999))
        last, exp = last_line()
        add("highway", case(f"{num} {w}"), "", last, primary=num, street=std_name, **exp)


def pobox_rows():
    forms = ["PO Box {n}", "P.O. Box {n}", "P.O.Box {n}", "POB {n}", "Post Office Box {n}", "P O Box {n}",
             "PO BOX #{n}", "Box {n}", "POBox {n}", "PO Box # {n}", "po box {n}", "P. O. Box {n}"]
    for _ in range(90):
        n = str(rng.randrange(1, 99999))
        last, exp = last_line()
        add("pobox", case(rng.choice(forms).format(n=n)), "", last, primary=n, street="PO BOX", **exp)


def rural_rows():
    rr = ["RR {r} Box {b}", "Rural Route {r} Box {b}", "R.R. {r} Box {b}", "RFD {r} Box {b}",
          "Rural Rte {r} Box {b}", "RR {r}, Box {b}", "Rt {r} Box {b}", "RR {r} #{b}"]
    hc = ["HC {r} Box {b}", "Highway Contract {r} Box {b}", "H.C. {r} Box {b}", "Star Route {r} Box {b}",
          "HCR {r} Box {b}", "HC {r}, Box {b}"]
    for _ in range(60):
        r, b = str(rng.randrange(1, 40)), str(rng.randrange(1, 999))
        last, exp = last_line()
        add("rural", case(rng.choice(rr).format(r=r, b=b)), "", last, primary=b, street=f"RR {r}", **exp)
    for _ in range(40):
        r, b = str(rng.randrange(1, 40)), str(rng.randrange(1, 999))
        last, exp = last_line()
        add("rural", case(rng.choice(hc).format(r=r, b=b)), "", last, primary=b, street=f"HC {r}", **exp)


def military_rows():
    for _ in range(60):
        kind = rng.choice(["PSC", "CMR", "UNIT"])
        r, b = str(rng.randrange(100, 9999)), str(rng.randrange(1, 9999))
        sep = rng.choice([" ", ", "])
        code = rng.choice([("APO", "AE", "09"), ("FPO", "AP", "96"), ("APO", "AA", "34")])
        z = code[2] + f"{rng.randrange(0, 999):03d}"
        add("military", case(f"{kind} {r}{sep}Box {b}"), "", f"{code[0]} {code[1]} {z}", primary=b,
            street=f"{kind} {r}", city=code[0], state=code[1], zip=z)


def pr_rows():
    urbs = ["LAS GLADIOLAS", "VILLA CAROLINA", "EL SENORIAL", "SAN JOSE", "LOS ANGELES", "COUNTRY CLUB",
            "VILLA FONTANA", "ALTAMIRA"]
    streets = [("CALLE 5", "CALLE 5"), ("Calle A", "CALLE A"), ("CALLE LOS PINOS", "CALLE LOS PINOS"),
               ("Calle 12", "CALLE 12"), ("AVE PONCE DE LEON", "AVE PONCE DE LEON")]
    for _ in range(70):
        urb = rng.choice(urbs)
        s, sstd = rng.choice(streets)
        n = str(rng.randrange(1, 999))
        z = rng.choice(["00926", "00907", "00987", "00969"])
        last = case(f"San Juan, PR {z}")
        exp = dict(city="SAN JUAN", state="PR", zip=z)
        form = rng.randrange(3)
        if form == 0:
            add("puerto_rico", case(f"Urb {urb} {n} {s}"), "", last, primary=n, street=sstd, urbanization=urb, **exp)
        elif form == 1:
            add("puerto_rico", case(f"{n} {s}"), case(f"Urbanizacion {urb}"), last, primary=n, street=sstd,
                urbanization=urb, **exp)
        else:
            add("puerto_rico", case(f"URB {urb}"), case(f"{n} {s}"), last, primary=n, street=sstd,
                urbanization=urb, **exp)


def last_line_rows():
    for _ in range(120):
        place = rng.choice(PLACES)
        style = rng.randrange(7)
        name = rng.choice(NAMES)
        written, std = rng.choice(SUFFIXES[:10])
        num = str(rng.randrange(1, 9999))
        last, exp = last_line(place, style)
        add("last_line", case(f"{num} {name} {written}"), "", last, primary=num, street=name, suffix=std, **exp)
    # The last line written at the end of the address line.
    for _ in range(40):
        place = rng.choice(PLACES)
        name = rng.choice(NAMES)
        written, std = rng.choice(SUFFIXES[:10])
        num = str(rng.randrange(1, 9999))
        last, exp = last_line(place, rng.choice([0, 2]))
        if rng.random() < 0.5:
            uw, ustd = rng.choice(UNITS[:6])
            un = rng.choice(UNIT_NUMBERS)
            add("last_line", case(f"{num} {name} {written} {uw} {un}, ") + last, "", "", primary=num, street=name,
                suffix=std, designator=ustd, secondary=un, **exp)
        else:
            add("last_line", case(f"{num} {name} {written}, ") + last, "", "", primary=num, street=name,
                suffix=std, **exp)


def messy_rows():
    for _ in range(60):
        name = rng.choice(NAMES)
        written, std = rng.choice(SUFFIXES[:20])
        num = str(rng.randrange(1, 9999))
        uw, ustd = rng.choice(UNITS[:8])
        un = rng.choice(UNIT_NUMBERS)
        last, exp = last_line()
        line = f"  {num}   {name}  {written}.   {uw}   {un}  "
        add("messy", case(line), "", "  " + last + "  ", primary=num, street=name, suffix=std,
            designator=ustd, secondary=un, **exp)


def spelled_rows():
    """House numbers written in words become figures; an ordinal street name stays a name."""
    small = ["", "ONE", "TWO", "THREE", "FOUR", "FIVE", "SIX", "SEVEN", "EIGHT", "NINE", "TEN", "ELEVEN",
             "TWELVE", "THIRTEEN", "FOURTEEN", "FIFTEEN", "SIXTEEN", "SEVENTEEN", "EIGHTEEN", "NINETEEN"]
    tens = ["", "", "TWENTY", "THIRTY", "FORTY", "FIFTY", "SIXTY", "SEVENTY", "EIGHTY", "NINETY"]

    def words(n, hyphen):
        if n < 20:
            return small[n]
        if n < 100:
            return tens[n // 10] + (("-" if hyphen else " ") + small[n % 10] if n % 10 else "")
        if n < 1000:
            return small[n // 100] + " HUNDRED" + (" " + words(n % 100, hyphen) if n % 100 else "")
        return words(n // 1000, hyphen) + " THOUSAND" + (" " + words(n % 1000, hyphen) if n % 1000 else "")

    for _ in range(40):
        n = rng.choice([rng.randrange(1, 20), rng.randrange(20, 100), rng.randrange(100, 1000),
                        rng.randrange(1000, 20000)])
        name = rng.choice(NAMES)
        written, std = rng.choice(SUFFIXES[:20])
        last, exp = last_line()
        add("spelled", case(f"{words(n, rng.random() < 0.5)} {name} {written}"), "", last, primary=str(n),
            street=name, suffix=std, **exp)
    # Number words that are the street's own name: no house number is made up.
    for text, street, suffix in [("Twenty First St", "21ST", "ST"), ("Forty-Second Street", "42ND", "ST"),
                                 ("One Two Elm Rd", "ONE TWO ELM", "RD"), ("Five Points", "FIVE", "PTS")]:
        last, exp = last_line()
        add("spelled", case(text), "", last, street=street, suffix=suffix, **exp)


for f in [street_rows, directional_rows, unit_rows, number_rows, ordinal_rows, pobox_rows, rural_rows,
          military_rows, pr_rows, last_line_rows, messy_rows, spelled_rows]:
    f()

os.makedirs(OUT, exist_ok=True)
total = 0
for group, items in rows.items():
    with open(os.path.join(OUT, f"{group}.tsv"), "w") as out:
        out.write("\t".join(COLUMNS) + "\n")
        for row in items:
            out.write("\t".join(row) + "\n")
    total += len(items)
print(f"{total} rows in {len(rows)} groups")
