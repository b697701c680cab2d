#!/usr/bin/env python3
"""Has a Windows program edit XML documents, and compares with a model of the edits on top of lxml.

usage: xml_edit_system_test.py FOLDER COMMAND...

FOLDER is made anew. After every edit the document is written as text, and in the end saved; lxml
reads all of these, and xmllint the saved ones.
"""
import random
import subprocess
import sys

from lxml import etree

import xml_model
from xml_program import Program, windows

SCRIPTS = 1000
EDITS = 16
NAMES = ["a", "b", "c", "dev", "x-1", "Root", "root", "_u.v", "größe", "中文"]
ATTRIBUTES = ["k", "n", "Id", "a-b", "größe"]
PIECES = ["0", "42", "-7", " 12abc", "word", "é€", "中文", "\U0001F600", "\U00020BB7x", "&", "<", ">",
          '"', "'", "&amp;", "&#65;", "]]>", "<!--", "?>", "\n", "\t", "\r", "\r\n", " ", "  "]
EXPRESSIONS = 2000
TOKENS = ["a", "b", "/", "//", "[", "]", "(", ")", "@", "k", "=", "'1'", "1", "|", "*", ".", "..", "!",
          "$and$", "and", "or", "not(", "$", "%", "#", ":", "::", "-", "+", " ", "<", ">", "text()",
          ",", "&&", "||", "~", "^", "{", "}", ";", "?", "\\", "`", '"', "é", "\n"]
MALFORMED = ["", "<a>", "<a></b>", "text", "<a/><b/>", "<a k=1/>", "<a>&none;</a>"]


class Writer:
    """A document as somebody might have written it."""

    def __init__(self, rng):
        self.random = rng

    def escape(self, text, needed):
        result = ""
        for letter in text:
            if letter in needed or self.random.random() < 0.05:
                named = {"<": "&lt;", ">": "&gt;", "&": "&amp;", '"': "&quot;", "'": "&apos;"}
                number = self.random.choice([f"&#{ord(letter)};", f"&#x{ord(letter):X};"])
                result += self.random.choice([named.get(letter, number), number])
            else:
                result += letter
        return result

    def layout(self, node):
        """White space that means nothing to any reader: between elements alone."""
        if not all(xml_model.is_element(child) for child in node):
            return ""
        return self.random.choice(["", "\n  ", " ", "\r\n\t"])

    def write(self, node):
        if node.tag is etree.Comment:
            return f"<!--{node.text}-->"
        if xml_model.is_text(node):
            if node.target == xml_model.CDATA:
                return f"<![CDATA[{node.text}]]>"
            return self.escape(node.text, "<&>\r")
        if node.tag is etree.PI:
            return f"<?{node.target} {node.text}?>"
        tag = node.tag
        for name, value in node.attrib.items():
            quote = self.random.choice("\"'")
            tag += f" {name}={quote}{self.escape(value, '<&' + chr(10) + chr(13) + chr(9) + quote)}{quote}"
        if not len(node):
            return self.random.choice([f"<{tag}/>", f"<{tag}></{node.tag}>"])
        content = "".join(self.layout(node) + self.write(child) for child in node)
        return f"<{tag}>{content}{self.layout(node)}</{node.tag}>"

    def write_document(self, document):
        head = self.random.choice(["", "", '<?xml version="1.0"?>',
                                   '<?xml version="1.0" encoding="UTF-8"?>\r\n'])
        return head + "".join(self.write(node) + "\n" for node in document)


class Generator:
    def __init__(self, rng, model):
        self.random = rng
        self.model = model
        self.writer = Writer(rng)

    def name(self):
        return self.random.choice(NAMES[:self.random.choice([3, len(NAMES)])])

    def attribute(self):
        return self.random.choice(ATTRIBUTES[:self.random.choice([2, 5])])

    def text(self):
        return "".join(self.random.choices(PIECES, k=self.random.randint(0, 4)))

    def fill(self, element, depth):
        for _ in range(self.random.choice([0, 1, 2, 3])):
            element.set(self.attribute(), self.text())
        if depth == 0:
            return
        for _ in range(self.random.choice([0, 1, 2, 3, 4])):
            kind = self.random.random()
            before = element[-1] if len(element) else None
            if kind < 0.65:
                self.fill(etree.SubElement(element, self.name()), depth - 1)
            elif kind < 0.8 and not (before is not None and xml_model.is_text(before)):
                # Texts of white space alone do not survive, and side by side they are one.
                element.append(xml_model.text_node(self.text().strip(xml_model.BLANKS) or "t"))
            elif kind < 0.87 and (before is None or not xml_model.is_text(before)):
                content = "c" + self.text().replace("]]>", "").replace("\r", "") + "c"
                element.append(xml_model.text_node(content, xml_model.CDATA))
            elif kind < 0.94:
                element.append(etree.Comment(self.random.choice([" note ", "é<&>", "a"])))
            else:
                element.append(etree.PI("target", "data"))

    def document(self):
        document = etree.Element("document")
        if self.random.random() < 0.2:
            document.append(etree.Comment("before"))
        self.fill(etree.SubElement(document, self.name()), 3)
        if self.random.random() < 0.2:
            document.append(etree.PI("after", "it"))
        return document

    def element(self):
        """Some element below the document element, if there is any."""
        below = self.model.below_root() if self.random.random() < 0.8 else []
        return self.random.choice(below) if below else None

    def path_to(self, element):
        names = [node.tag for node in element.iterancestors()][::-1][2:]
        return "/".join([*names, element.tag])

    def path(self):
        element = self.element()
        if element is not None:
            return self.path_to(element) + self.random.choice(["", "", "", "/" + self.name()])
        return "/".join(self.name() for _ in range(self.random.choice([1, 1, 2, 2, 3])))

    def parent_and_child(self):
        """A key and the name of a child, which mostly is there."""
        element = self.element()
        if element is None:
            return self.reading_key(), self.child()
        parent = element.getparent()
        if parent.getparent() is self.model.document:
            return self.random.choice(["/any/", ".", "/" + parent.tag]), element.tag
        path = self.path_to(parent)
        return self.random.choice([path, path, "/any/" + path, "./" + path]), element.tag

    def rename(self):
        key, old_name = self.parent_and_child()
        if "[" in key or "*" in key or "|" in key or "@" in key:
            key = self.key()  # The new element is made by a key, too.
        if old_name in NAMES and self.random.random() < 0.3:
            condition = self.random.choice(["*", self.name(), "@" + self.attribute()])
            return key, f"{self.random.choice([old_name, '*'])}[{condition}]", self.name()
        return key, old_name, self.random.choice([self.name()] * 9 + [old_name, ""])

    def key(self):
        """Any that makes nothing but elements of proper names."""
        path = self.path()
        return self.random.choice(
            [path] * 8 + ["/root/" + path, "/any/" + path, "/" + self.name(), "/a/", "", "", ".",
                          "./" + path, path.replace("/", "//"), "//" + path, "/a//" + path,
                          path + "/", "/", "//", "///", "//a//b", "/any/" + path + "/"])

    def reading_key(self):
        name = self.name()
        return self.random.choice(
            [self.key()] * 6 + ["*", f"*/{name}", f".//{name}", f"{name}[@k]", f"{name}[@k='0']",
                                f"{name}|b", f"{name}/@k", f"*[@n]/{name}", f".//{name}[@Id='42']"])

    def operation(self):
        name = self.random.choice(
            ["set_value"] * 4 + ["set_number"] * 2 + ["set_text"] * 3 + ["get_text"] * 2 + ["add"] * 3 +
            ["remove"] * 3 + ["rename"] * 4 + ["select_children"] * 2 + ["child_keys"] * 2 +
            ["get_value"] * 4 + ["get_string", "get_number", "nodes"] + ["selected"] * 2)
        arguments = {
            "set_value": lambda: (self.key(), self.attribute_or_none(), self.text()),
            "set_number": lambda: (self.key(), self.attribute_or_none(),
                                   str(self.random.choice([42, -7, 0, 2 ** 31 - 1, -2 ** 31]))),
            "set_text": lambda: (self.key(), self.text()),
            "get_text": lambda: (self.key(), "default"),
            "add": lambda: (self.key(), self.random.choice([self.name(), self.path(), ""])),
            "remove": self.parent_and_child,
            "rename": self.rename,
            "select_children": lambda: (self.key(),),
            "child_keys": lambda: (self.reading_key(), *self.random.choice([(), (), ("p", "q")])),
            "get_value": lambda: (self.reading_key(), self.attribute_or_none(), self.text()),
            "get_string": lambda: (self.reading_key(), self.attribute_or_none(), self.text()),
            "get_number": lambda: (self.reading_key(), self.attribute_or_none(), "99"),
            "selected": lambda: (str(self.index()), self.attribute()),
            "nodes": lambda: (self.random.choice(["//" + self.name(), self.path(), "/" + self.path(),
                                                  "*/" + self.name(), "//*[@k]"]),
                              self.attribute(), "default"),
        }
        return name, arguments[name]()

    def index(self):
        count = len(self.model.selection or [])
        return self.random.choice([-1, count, count + 1, *range(count), *range(count)])

    def attribute_or_none(self):
        return self.random.choice([self.attribute()] * 15 + [""])

    def child(self):
        return self.random.choice([self.name()] * 15 + [self.path(), ""])


class Script:
    """Operations, and what each is to result in."""

    def __init__(self, seed, saved):
        self.model = xml_model.Model()
        self.random = random.Random(seed)
        self.generator = Generator(self.random, self.model)
        self.operations, self.expected = [("new",)], [("1",)]
        self.failures = 0
        self.load()
        for _ in range(EDITS):
            self.step()
        if not self.model.is_open:
            self.load()
        self.model.root()
        self.add("get-value", (".", "k", ""), self.model.get_value(".", "k", ""))
        self.add("save", (saved,), (1,))
        self.final = self.model.document

    def add(self, name, arguments, result):
        self.operations.append((name, *arguments))
        is_plain = isinstance(result, tuple)
        self.expected.append(tuple(map(str, result)) if is_plain else result)

    def do(self, name, arguments):
        method = getattr(self.model, name)
        wire = {"select_children": "select"}.get(name, name.replace("_", "-"))
        try:
            self.add(wire, arguments, method(*arguments))
        except xml_model.Failure:
            self.add(wire, arguments, ("error",))

    def load(self):
        document = self.generator.document()
        self.add("load", (self.generator.writer.write_document(document),), self.model.load(document))

    def edit(self):
        name, arguments = self.generator.operation()
        if name != "set_text" or not self.model.takes_selection_away(arguments[0]):
            self.do(name, arguments)

    def step(self):
        kind = self.random.random()
        if kind < 0.02:
            self.do("close", ())
        elif kind < 0.04:
            self.load()
        elif kind < 0.05:
            self.add("load", (self.random.choice(MALFORMED),), self.model.load(None))
        elif kind < 0.07 and self.model.has_root():
            self.do("remove_root", ())
        elif not self.model.is_open and kind < 0.4:
            self.load()
        elif kind < 0.45 and self.model.selection:
            self.do("selected", (str(self.generator.index()), self.generator.attribute()))
        else:
            self.edit()
        self.operations.append(("xml",))
        self.expected.append(xml_model.of_model(self.model.document) if self.model.is_open else None)


def differs(expected, found):
    """What is wrong with a result, if anything."""
    if expected is None:
        return None if found == ("0", "") else "a closed document has a text"
    if isinstance(expected, list):
        length, text = found
        if int(length) != xml_model.units(text):
            return f"its length is not {length}"
        if not any(len(node) == 3 and isinstance(node[2], list) for node in expected):
            return None  # There is nothing that lxml could read, without an element.
        tree = xml_model.of_lxml_document(etree.fromstring(text.encode()))
        same = xml_model.without_layout(tree) == xml_model.without_layout(expected)
        return None if same else f"the text is not of the tree {expected}"
    if isinstance(expected, xml_model.Text):
        length, text = found
        same = xml_model.units(text) == int(length) and expected.agrees_with(text)
        return None if same else f"{found} is not the text {expected.text!r}"
    if expected == ("error",):
        return None if found[0] == "error" else f"there is no error, but {found}"
    return None if expected == found else f"{found} is not {expected}"


def compare(number, script, results):
    for operation, expected, found in zip(script.operations, script.expected, results):
        if operation[0] not in ("xml", "save"):
            edit = operation
        wrong = differs(expected, found)
        if wrong:
            print(f"FAILED in script {number}, after {edit}: {wrong}")
            return False
    return True


def compare_saved(number, script, path):
    expected = etree.tostring(xml_model.to_lxml(script.final), method="c14n")
    found = etree.tostring(etree.parse(path), method="c14n")
    if found != expected:
        print(f"FAILED: lxml reads from what script {number} saved\n{found}\ninstead of\n{expected}")
    return found == expected, expected


def check_expressions(program):
    """Any text may be a key of what only reads: it is evaluated or refused, and nothing else."""
    rng, operations = random.Random(1), []
    keys = [*TOKENS, *("a[" + token + "]" for token in TOKENS), *("a/" + token for token in TOKENS)]
    while len(keys) < EXPRESSIONS:
        keys.append("".join(rng.choices(TOKENS, k=rng.randint(2, 7))))
    for key in keys:
        operations += [("load", '<a k="1"><b><a/></b><b>t</b></a>'), ("xml",), ("child-keys", key),
                       ("get-string", key, "k", "none"), ("nodes", key, "k", "none"), ("xml",)]
    results = program.run("expressions", operations)
    if len(results) < len(operations):
        print(f"FAILED: the program ended at the expression {keys[len(results) // 6]!r}")
        return 1
    changed = [key for i, key in enumerate(keys) if results[6 * i + 1] != results[6 * i + 5]]
    refused = sum(result[0] == "error" for result in results)
    print(f"{len(keys)} texts as keys, {refused} refusals, {len(changed)} changed the document")
    return len(changed) + (refused == 0)


def main():
    program = Program(sys.argv[1], sys.argv[2:])
    paths = [program.path(f"saved{number}.xml") for number in range(SCRIPTS)]
    scripts = [Script(number, windows(path)) for number, path in enumerate(paths)]
    results = program.run("edits", [step for script in scripts for step in script.operations])
    failures, canonical, position = check_expressions(program), b"", 0
    for number, (script, path) in enumerate(zip(scripts, paths)):
        part = results[position:position + len(script.operations)]
        position += len(script.operations)
        if len(part) < len(script.operations):
            print(f"FAILED: the program ended in script {number} at {script.operations[len(part)]}")
            failures += 1
            break
        if not compare(number, script, part):
            failures += 1
            continue
        same, text = compare_saved(number, script, path)
        failures += not same
        canonical += text
    lint = subprocess.run(["xmllint", "--c14n", *paths], check=True, stdout=subprocess.PIPE).stdout \
        if not failures else None
    if not failures and lint != canonical:
        print("FAILED: xmllint reads the saved documents otherwise than lxml")
        failures += 1
    kinds = {step[0] for script in scripts for step in script.operations}
    print(f"{len(scripts)} scripts of {len(results)} operations of {len(kinds)} kinds, "
          f"{failures} failures")
    return 1 if failures else 0


sys.exit(main())
