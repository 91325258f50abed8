"""The cases of `script/test same`, as commands of the program zandrel.

A case is a list of commands that run one after the other in a new folder. `{NAME}` in a
command is the path of an input file, which both builds read. A command `>NAME` writes a file NAME
of the lines that follow.
"""
import pathlib
import random
import re

from .corpora import labels_of
from .synthetic import Recipe, data_lines

# Values of settings that the program does not choose. A setting that is missing here gets one from docs/options.md.
VALUES = {
    "ClipValue": ["0", "1"],
    "UseLikelihoodInTrain": ["0"],
    "UseLikelihoodInMatch": ["0"],
    "UseOmitMethod": ["0"],
    "LikelihoodHistogramResolution": ["3"],
    "ProfileSize": ["1", "40"],
    "PLifeExpectancy": ["0", "255"],
    "DeletePFactor": ["0", "5"],
    "MinPsSize": ["20"],
    "MaxPsSize": ["60"],
    "NumberOfSlices": ["1", "3", "50"],
    "MinRlimit": ["0", "5"],
    "AverageRlimit": ["1", "20"],
    "MaxRlimit": ["10"],
    "SuppressM": ["0", "1"],
    "SuppressMThreshold": ["4"],
    "UseNewZC": ["0"],
    "UseNormalization": ["0"],
    "ActivationInside": ["0", "25"],
    "ActivationOutside": ["350"],
    "ActivationTotal": ["10000"],
    "KeywordsFrequency": ["1"],
    "KeywordsSmlWeight": ["0.5"],
    "TitleSmlWeight": ["0"],
    "CannedSmlWeight": ["7"],
    "WeakenSmallCatsFactor": ["0"],
    "LearnSpeedScale": ["linear"],
    "EachCatReserveSize": ["7"],
    "EachCatTrainSize": ["0"],
    "AgeAdjustment": ["2.5"],
    "ActivateFeedback": ["1"],
    "FullPropogation": ["0"],
    # The test switches, which an options file may contain too.
    "PositiveMethod": ["1"],
    "GeomAverage": ["1"],
}


def other_values(document):
    """Another value than the default for each setting in the table of docs/options.md."""
    rows = re.findall(r"^\| `([A-Z]\w+)` \|[^|]*\| (\w+)[^|]*\| `?([^|`]*)`? \|[^|]*\|$", document, re.MULTILINE)
    return {key: [other_value(kind, default)] for key, kind, default in rows if kind != "word"}


def other_value(kind, default):
    if kind == "flag":
        return "0" if default == "1" else "1"
    return f"{float(default) + 1:.15g}"


def all_settings():
    document = pathlib.Path(__file__).parents[2] / "docs" / "options.md"
    return other_values(document.read_text("utf-8")) | VALUES


SETTINGS = all_settings()
TEST_SWITCHES = ("PositiveMethod", "GeomAverage")
MIXTURES = 24

RECIPES = {
    "plain": Recipe(labels=12, texts=700, words=3000, seed=11),
    "several": Recipe(labels=15, texts=700, words=3000, labels_of_text=4, shaped=True, seed=12),
    "many": Recipe(labels=300, texts=1200, words=3000, topic_words=8, mean_length=10, seed=13),
    "two": Recipe(labels=2, texts=300, words=5000, shaped=True, mean_length=40, seed=14),
    "unequal": Recipe(labels=40, texts=240, words=800, topic_words=5, mean_length=6, seed=15),
}
# Parts of the texts of a corpus. The last part of `learn` has labels that are in no other part.
TRAIN_PARTS, LEARN_PARTS = 6, 2
LONG_LINES = [b"", b" ", b"\t", b"\xff\xfe", b"a" * 70000, b"word " * 30000,
              b" ".join(b"w%d" % number for number in range(20000)), b"e" + b"\xcc\x81" * 3000]


class Case:
    def __init__(self, name, commands):
        self.name = name
        self.commands = commands


def write_inputs(folder, shop, corpora):
    """Writes the input files of all cases and returns their paths by name."""
    inputs = {"shop": shop / "shop.train.tsv", "shop.test": shop / "shop.test.tsv",
              "shop.groups": shop / "shop.groups.tsv"}
    for name, recipe in RECIPES.items():
        inputs.update(write_parts(folder, name, list(data_lines(recipe))))
    inputs.update(write_others(folder, inputs))
    for corpus in corpora:
        inputs[f"{corpus.name}.data"] = corpus.train
        inputs[f"{corpus.name}.data.test"] = corpus.test
        inputs.update(write_heads(folder, corpus))
    return {name: str(path) for name, path in inputs.items()}


def write_parts(folder, name, lines):
    """NAME to train on, NAME.learn0 and so on to learn, and NAME.test."""
    size = len(lines) // (TRAIN_PARTS + LEARN_PARTS + 1)
    begin = TRAIN_PARTS * size
    parts = {name: lines[:begin]}
    for number in range(LEARN_PARTS):
        parts[f"{name}.learn{number}"] = lines[begin + number * size:begin + (number + 1) * size]
    parts[f"{name}.learn{LEARN_PARTS - 1}"] += [b"new,label0001\tnew things and old ones\n",
                                                b"newer\tnewer things\n"]
    parts[f"{name}.test"] = lines[begin + LEARN_PARTS * size:]
    return {part: write(folder, part, b"".join(text)) for part, text in parts.items()}


def write_others(folder, inputs):
    labels = labels_of(inputs["many"])
    groups = "".join(f"group{number % 17}\t{label}\n" for number, label in enumerate(labels))
    titles = inputs["plain"].read_bytes().splitlines()
    return {
        "many.groups": write(folder, "many.groups", groups.encode()),
        "hostile": write(folder, "hostile", b"\n".join(LONG_LINES) + b"\n"),
        "bootstrap": write(folder, "bootstrap", b"".join(titled(line) for line in titles)),
    }


def titled(line):
    """A line of --bootstrap: the first words of the text are title and keywords as well."""
    words = line.partition(b"\t")[2].split()
    return line + b"\t" + b" ".join(words[:4]) + b"\t" + b" ".join(words[2:5]) + b"\n"


def write_heads(folder, corpus):
    """The first lines of the test file, to learn, and a few texts, to explain."""
    with open(corpus.test, "rb") as file:
        lines = [line for line, _ in zip(file, range(300))]
    return {f"{corpus.name}.data.learn0": write(folder, f"{corpus.name}.learn", b"".join(lines)),
            f"{corpus.name}.data.few": write(folder, f"{corpus.name}.few", b"".join(lines[:30]))}


def write(folder, name, content):
    path = folder / name
    path.write_bytes(content)
    return path


def all_cases(corpora):
    cases = shop_cases() + synthetic_cases() + setting_cases() + mixed_cases()
    cases += [tree_case(), edit_case(), damaged_data_case()]
    for corpus in corpora:
        for analysis in ("words", "phrases"):
            cases.append(corpus_case(corpus.name, analysis))
    return cases


def shop_cases():
    forms = [["--analysis", analysis] for analysis in ("words", "phrases", "whitespace")]
    forms += [["--stem", "english"], ["--groups", "{shop.groups}"], ["--compact"],
              ["--compact", "--groups", "{shop.groups}", "--analysis", "words"]]
    return [Case("shop " + " ".join(form), life("shop", form, [])) for form in forms]


def synthetic_cases():
    cases = []
    for name in RECIPES:
        for form in (["--analysis", "words"], ["--analysis", "phrases"], ["--compact"]):
            cases.append(Case(f"{name} {' '.join(form)}", life(name, form)))
    form = ["--groups", "{many.groups}", "--analysis", "words"]
    return cases + [Case(f"many {' '.join(form)}", life("many", form)),
                    Case("bootstrap", bootstrap([]))]


def setting_cases():
    """Each setting separately, on texts of one label and of several."""
    cases = []
    for key, values in SETTINGS.items():
        for value in values:
            for name in ("plain", "several"):
                cases.append(setting_case(name, {key: value}, ["--analysis", "words"]))
            if key.endswith(("SmlWeight", "Frequency", "Method")):
                cases.append(Case(f"bootstrap {key}={value}", bootstrap([f"{key}={value}"])))
    return cases


def mixed_cases():
    """Combinations of settings, random but always the same."""
    source = random.Random(16)
    cases = []
    for number in range(MIXTURES):
        keys = sorted(SETTINGS, key=lambda _: source.random())[:6]
        settings = {key: SETTINGS[key][int(source.random() * len(SETTINGS[key]))] for key in keys}
        name = list(RECIPES)[number % len(RECIPES)]
        cases.append(setting_case(name, settings, ["--analysis", ("words", "phrases")[number % 2]]))
    return cases


def setting_case(name, settings, form):
    assignments = [f"{key}={value}" for key, value in settings.items()]
    title = f"{name} {' '.join(form[1:] + assignments)}"
    return Case(title, life(name, form + ["--options", "settings"], settings=assignments))


def life(name, form, learned=tuple(f"learn{number}" for number in range(LEARN_PARTS)), settings=None):
    """Trains, uses and saves a model, and lets it learn. `settings` are written to the options file
    "settings"."""
    test = "{" + name + ".test}"
    commands = [[">settings", *settings]] if settings is not None else []
    commands += [["train", "m.kc", "{" + name + "}", *form], *uses(test)]
    for part in learned if "--compact" not in form else ():
        commands += [["learn", "m.kc", "{" + name + "." + part + "}", "--add-categories"],
                     ["classify", "m.kc", test, "--column", "2", "-k", "3"]]
    return commands + [["explain", "m.kc", test, "--column", "2", "--top", "3"],
                       ["options", "set", "m.kc", "EachCatReserveSize=31"],
                       ["info", "m.kc"], ["check", "m.kc"]]


def uses(test):
    """All commands that read a container and classify or explain texts."""
    return [["classify", "m.kc", test, "--column", "2"],
            ["classify", "m.kc", test, "--column", "2", "-k", "5", "--threshold", "0.05", "--jsonl"],
            ["classify", "m.kc", test, "--column", "2", "-k", "100000", "--threshold", "0"],
            ["classify", "m.kc", "{hostile}", "-k", "2"],
            ["explain", "m.kc", test, "--column", "2", "--json"],
            ["evaluate", "m.kc", test, "--json"]]


def bootstrap(settings):
    return [[">settings", *settings],
            ["train", "m.kc", "{bootstrap}", "--bootstrap", "--analysis", "words",
             "--options", "settings"], *uses("{plain.test}"),
            ["learn", "m.kc", "{plain.learn0}"], ["classify", "m.kc", "{plain.test}", "--column", "2"]]


def tree_case():
    """Rules below one node and statistics below another, in a tree of three levels."""
    edits = [["set", "root/delivery", "--type", "rule"],
             ["add", "root/delivery/parcel", "--rule", '"parcel" & !"late"'],
             ["add", "root/delivery/late", "--rule", '"late" | "delay" | "still"'],
             ["add", "root/delivery/other", "--rule", "default"],
             ["set", "root/payment", "--type", "stat"],
             ["add", "root/payment/refund"], ["add", "root/payment/card"],
             ["set", "root/praise", "--threshold", "0.6", "--no-score", "--note1", "seldom"],
             ["set", "root/returns", "--type", "stat", "--score"],
             ["add", "root/returns/rules", "--type", "rule"],
             ["add", "root/returns/rules/shoes", "--rule", '"shoes" | "size"']]
    small = [">lines", "refund\tmoney back please", "card\tmy visa was charged",
             "card,complaint\tcharged twice", "shoes\tthe shoes are too small"]
    commands = [["train", "m.kc", "{shop}"]]
    commands += [["tree", edit[0], "m.kc", *edit[1:]] for edit in edits]
    commands += [["tree", "show", "m.kc"], *uses("{shop.test}"), small,
                 ["learn", "m.kc", "lines"], *uses("{shop.test}")]
    for value in ("0", "1"):
        commands += [["options", "set", "m.kc", f"FullPropogation={value}"],
                     ["classify", "m.kc", "{shop.test}", "--column", "2", "-k", "9"]]
    return Case("tree with rules and statistics", commands + [
        ["explain", "m.kc", "{shop.test}", "--column", "2", "--category", "root/delivery/parcel"],
        ["explain", "m.kc", "{shop.test}", "--column", "2", "--category", "root/payment/card"],
        ["dump", "m.kc"]])


def edit_case():
    """Edits that change learned data, and some that are refused."""
    edits = [["rename", "root/payment", "money"], ["delete", "root/praise"],
             ["delete", "root/returns", "--keep-concepts"],
             ["add", "root/things", "--type", "stat"],
             ["move", "root/account", "root/things"],
             ["move", "root/account", "root/things", "--forget"],
             ["add", "root/money"], ["delete", "root/none"], ["rename", "root/money", "delivery"]]
    commands = [["train", "m.kc", "{shop}", "--analysis", "words"]]
    for edit in edits:
        commands += [["tree", edit[0], "m.kc", *edit[1:]],
                     ["classify", "m.kc", "{shop.test}", "--column", "2", "-k", "4"]]
    return Case("edits of a tree", commands + [
        ["learn", "m.kc", "{shop.test}", "--add-categories"], ["tree", "show", "m.kc"],
        ["options", "set", "m.kc", "UseLikelihoodInTrain=0"], *uses("{shop.test}"),
        ["options", "set", "m.kc", "UseLikelihoodInTrain=1", "LikelihoodHistogramResolution=2"],
        *uses("{shop.test}")])


def damaged_data_case():
    """Errors and warnings."""
    return Case("refused data", [
        [">lines", "a\tone two", "no tab", ",b\tempty", "b\ttwo", "A\tthree", "a \tfour"],
        ["train", "m.kc", "lines"], ["train", "m.kc", "lines", "--skip-bad"],
        ["train", "m.kc", "lines", "--skip-bad"], ["learn", "m.kc", "lines"],
        ["learn", "m.kc", "{shop.test}"], ["classify", "m.kc", "lines", "-k", "3"],
        ["classify", "m.kc", "lines", "--max-line", "5"], ["learn", "none.kc", "lines"],
        ["rules", "check", '"a" & ('], ["rules", "explain", '"a" & $size(n) > 2 | $name(s) = "x"'],
        ["rules", "eval", '"a" & $size(n) > 2', "--set", "size=7", "--text", "a b"]])


def corpus_case(name, analysis):
    data = name + ".data"
    test, few = "{" + data + ".test}", "{" + data + ".few}"
    return Case(f"{name} {analysis}", [
        ["train", "m.kc", "{" + data + "}", "--analysis", analysis],
        ["classify", "m.kc", test, "--column", "2", "-k", "3"],
        ["explain", "m.kc", few, "--column", "2"],
        ["learn", "m.kc", "{" + data + ".learn0}", "--add-categories"],
        ["evaluate", "m.kc", few, "--json"],
        ["options", "set", "m.kc", "EachCatReserveSize=31"]])
