#!/usr/bin/env python3
"""Has a Windows program load and save files of other people's, of all encodings, malformed, or huge.

usage: xml_file_system_test.py FOLDER COMMAND...

FOLDER is made anew. lxml and xmllint say what the files mean.
"""
import glob
import os
import random
import shutil
import socket
import subprocess
import sys
import threading
import unittest

from lxml import etree

from xml_program import Program, windows

REAL_FILES = ["/etc/fonts/fonts.conf", *sorted(glob.glob("/usr/share/fontconfig/conf.avail/*.conf")),
              "/usr/share/mime/packages/freedesktop.org.xml", "/usr/share/dbus-1/system.conf",
              "/usr/share/dbus-1/session.conf"]
BLANKS = " \t\r\n"
PARSER = etree.XMLParser(resolve_entities=False, huge_tree=True)
TEXT = "größe € 中文 \U0001F600"

# What no reader may take for a document. Those of bytes cannot be handed over as a text.
MALFORMED = {
    "nothing": "",
    "white space": " \n",
    "a text": "text",
    "a text before the element": "text<a/>",
    "a text behind the element": "<a/>text",
    "an unclosed element": "<a>",
    "an unclosed element within": "<a><b></a>",
    "an unopened element": "</a>",
    "overlapping elements": "<a><b></a></b>",
    "two document elements": "<a/><b/>",
    "a tag in another case": "<a></A>",
    "an unfinished tag": "<a",
    "an end tag with an attribute": '<a></a b="1">',
    "a tag that begins with a digit": "<1a/>",
    "a blank before the name": "< a/>",
    "an attribute without quotes": "<a b=1/>",
    "an attribute without a value": "<a b/>",
    "an attribute twice": '<a b="1" b="2"/>',
    "an open quote": '<a b="1/>',
    "attributes side by side": '<a b="1"c="2"/>',
    "a tag in an attribute": '<a b="<"/>',
    "an ampersand": "<a>&</a>",
    "an entity that is not declared": "<a>&none;</a>",
    "an unfinished character reference": "<a>&#65</a>",
    "a character reference without digits": "<a>&#x;</a>",
    "a reference to a null character": "<a>&#0;</a>",
    "a reference to half a character": "<a>&#xD800;</a>",
    "a reference beyond all characters": "<a>&#x110000;</a>",
    "a control character": "<a>\x01</a>",
    "a control character in an attribute": '<a b="\x1b"/>',
    "a character that is none": "<a>\ufffe</a>",
    "an unfinished comment": "<a><!-- </a>",
    "two hyphens in a comment": "<a><!-- -- --></a>",
    "an unfinished section": "<a><![CDATA[</a>",
    "a section beside the element": "<a/><![CDATA[x]]>",
    "the end of a section in a text": "<a>]]></a>",
    "an unfinished instruction": "<a><?b </a>",
    "a declaration within": '<a><?xml version="1.0"?></a>',
    "a declaration behind a blank": ' <?xml version="1.0"?><a/>',
    "a declaration without a version": '<?xml encoding="utf-8"?><a/>',
    "an unfinished declaration": '<?xml version="1.0"><a/>',
    "an unknown encoding": '<?xml version="1.0" encoding="none-such"?><a/>',
    "an unfinished document type": "<!DOCTYPE a [<a/>",
    "a document type behind the element": "<a/><!DOCTYPE a>",
    "an entity within itself": '<!DOCTYPE a [<!ENTITY e "&f;"><!ENTITY f "&e;">]><a>&e;</a>',
    "an entity of half an element": '<!DOCTYPE a [<!ENTITY e "<b>">]><a>&e;</b></a>',
    "an external entity in an attribute": '<!DOCTYPE a [<!ENTITY e SYSTEM "e">]><a b="&e;"/>',
    "bytes that are no UTF-8": b"<a>\xe9</a>",
    "an overlong form": b"<a>\xc0\xaf</a>",
    "half a character in UTF-8": b"<a>\xed\xa0\x80</a>",
    "an incomplete character": b"<a>\xe2\x82</a>",
    "a null byte": b"<a>\0</a>",
    "half a character in UTF-16": b"\xff\xfe" + "<a>".encode("utf-16-le") + b"\x00\xd8" +
                                  "</a>".encode("utf-16-le"),
    "an incomplete file in UTF-16": b"\xff\xfe" + "<a>x</a>".encode("utf-16-le")[:-3],
}

# How a file may be encoded: the codec, the byte order mark, the declared name.
ENCODINGS = {
    "UTF-8": ("utf-8", b"", ""),
    "UTF-8, declared": ("utf-8", b"", "UTF-8"),
    "UTF-8, marked": ("utf-8", b"\xef\xbb\xbf", ""),
    "UTF-8, marked and declared": ("utf-8", b"\xef\xbb\xbf", "utf-8"),
    "UTF-16 LE": ("utf-16-le", b"\xff\xfe", ""),
    "UTF-16 BE": ("utf-16-be", b"\xfe\xff", ""),
    "UTF-16 LE, declared": ("utf-16-le", b"\xff\xfe", "UTF-16"),
    "UTF-16 BE, declared": ("utf-16-be", b"\xfe\xff", "UTF-16"),
    "windows-1252": ("cp1252", b"", "windows-1252"),
    "ISO 8859-1": ("iso-8859-1", b"", "ISO-8859-1"),
    "ASCII": ("ascii", b"", ""),
}


def words(text):
    """A text without its white space, which a reader may drop between elements."""
    return "".join((text or "").split())


def tree(source, encoding=None):
    """A document in its canonical form, without texts of white space alone."""
    parser = etree.XMLParser(resolve_entities=False, huge_tree=True, encoding=encoding)
    return canonical(etree.parse(source, parser))


def canonical(document):
    for node in document.iter():
        if not (node.text or "").strip(BLANKS) and isinstance(node.tag, str):
            node.text = None
        if not (node.tail or "").strip(BLANKS):
            node.tail = None
    return etree.tostring(document, method="c14n")


def doctype(path):
    """The document type declaration and its internal subset, without white space."""
    with open(path, encoding="utf-8") as file:
        text = file.read().partition("<!DOCTYPE")[2]
    has_subset = "[" in text.partition(">")[0]
    return words(text.partition("]>" if has_subset else ">")[0])


def keyed(document):
    """The elements that a key of plain names finds, with their keys."""
    found = {}

    def visit(element, path):
        seen = set()
        for child in element.iterchildren(etree.Element):
            name = child.tag.partition("}")[2] or child.tag
            if name not in seen and child.prefix is None:
                seen.add(name)
                key = f"{path}/{name}" if path else name
                found[key] = child
                visit(child, key)

    visit(document.getroot(), "")
    return found


class XmlFiles(unittest.TestCase):
    program = None

    def path(self, name, data=None):
        path = self.program.path(name)
        if data is not None:
            with open(path, "wb") as file:
                file.write(data)
        return path

    def run_whole(self, name, operations):
        results = self.program.run(name, operations)
        self.assertEqual(len(results), len(operations), f"it ended early, after {results[-1:]}")
        return results

    # ---- Real files ------------------------------------------------------------------------------

    def test_real_files_are_saved_without_loss(self):
        operations = []
        for number, path in enumerate(REAL_FILES):
            operations += [("new",), ("load-file", windows(path)),
                           ("save", windows(self.path(f"real{number}")))]
        results = self.run_whole("real", operations)
        self.assertGreater(sum(doctype(path) != "" for path in REAL_FILES), 20)
        self.assertEqual(set(results), {("1",)})
        for number, path in enumerate(REAL_FILES):
            saved = self.path(f"real{number}")
            self.assertEqual(tree(saved), tree(path), path)
            self.assertEqual(doctype(saved), doctype(path), path)
            subprocess.run(["xmllint", "--noout", "--nonet", saved], check=True)

    def test_real_files_are_read_by_key(self):
        operations, expected = [], []
        for path in REAL_FILES:
            operations += [("new",), ("load-file", windows(path))]
            expected += [None, ("1",)]
            elements = keyed(etree.parse(path, PARSER))
            for key, element in elements.items():
                for name, value in element.attrib.items():
                    if not name.startswith("{"):
                        operations.append(("get-string", key, name, "none"))
                        expected.append((value,))
                operations.append(("child-keys", key))
                expected.append([child.tag for child in element.iterchildren(etree.Element)])
                if not any(isinstance(node, etree._Entity) for node in element.iter()):
                    operations.append(("get-text", key, "default"))
                    expected.append(words("".join(element.itertext(etree.Element))))
        for operation, result, wanted in zip(operations, self.run_whole("read", operations), expected):
            if operation[0] == "get-text":
                result = words(result[1])
            elif operation[0] == "child-keys":
                result = [name for name in result[1:] if not name.startswith("#")]
                wanted = [etree.QName(name).localname for name in wanted]
            self.assertIn(wanted, (None, result), operation)
        self.assertGreater(len(operations), 300)

    def test_real_files_are_edited(self):
        rng, operations, expected = random.Random(7), [], []
        for number, path in enumerate(REAL_FILES):
            document = etree.parse(path, PARSER)
            root, elements = document.getroot(), keyed(document)
            operations += [("new",), ("load-file", windows(path))]
            # Texts first, for they replace what is below.
            leaves = [key for key, element in elements.items() if not len(element)]
            for key in rng.sample(leaves, min(3, len(leaves))):
                operations.append(("set-text", key, TEXT))
                elements[key].text = TEXT
            for key in rng.sample(list(elements), min(3, len(elements))):
                operations.append(("set-value", key, "edited", TEXT))
                elements[key].set("edited", TEXT)
            if root.nsmap.get(None) is None:
                operations.append(("set-number", "new/within", "count", "-7"))
                etree.SubElement(etree.SubElement(root, "new"), "within").set("count", "-7")
            first = next(root.iterchildren(etree.Element))
            if first.prefix is None:
                operations.append(("remove", "/any/", etree.QName(first).localname))
                root.remove(first)
            operations.append(("save", windows(self.path(f"edited{number}"))))
            expected.append(canonical(document))
        self.assertEqual(set(self.run_whole("edited", operations)), {("1",)})
        for number, path in enumerate(REAL_FILES):
            self.assertEqual(tree(self.path(f"edited{number}")), expected[number], path)

    def test_a_real_file_is_saved_to_where_it_was_loaded_from(self):
        path = self.path("own größe.conf")
        shutil.copyfile("/etc/fonts/fonts.conf", path)
        operations = [("load-file", windows(path)), ("set-value", "", "edited", TEXT), ("save", "")]
        self.assertEqual(set(self.run_whole("own", operations)), {("1",)})
        self.assertEqual(etree.parse(path, PARSER).getroot().get("edited"), TEXT)

    def test_repeated_elements_are_read_by_key(self):
        path = "/usr/share/mime/packages/freedesktop.org.xml"
        types = [child for child in etree.parse(path, PARSER).getroot().iterchildren(etree.Element)
                 if "'" not in child.get("type", "'")]
        operations, expected = [("load-file", windows(path))], [("1",)]
        for element in types[::10]:
            key = f"mime-type[@type='{element.get('type')}']"
            pattern = element.find("{*}glob")
            operations += [("get-string", key + "/glob", "pattern", "none"), ("select", key)]
            expected += [("none" if pattern is None else pattern.get("pattern"),), None]
            children = list(element.iterchildren(etree.Element))
            for index, child in enumerate(children):
                operations.append(("selected", str(index), "type"))
                value = child.get("type", "")
                expected.append((str(len(value)), value, child.tag.partition("}")[2]))
        results = self.run_whole("repeated", operations)
        for operation, result, wanted in zip(operations, results, expected):
            self.assertIn(wanted, (None, result), operation)
        self.assertGreater(len(operations), 1000)

    # ---- Encodings -------------------------------------------------------------------------------

    def test_files_of_all_encodings(self):
        operations, values = [], {}
        for number, (name, (codec, mark, declared)) in enumerate(ENCODINGS.items()):
            value = "".join(letter for letter in TEXT if letter.encode(codec, "ignore"))
            head = f'<?xml version="1.0" encoding="{declared}"?>\r\n' if declared else ""
            text = f'{head}<r k="{value}">{value}<!--{value}--></r>'
            path = self.path(f"encoded{number}", mark + text.encode(codec))
            self.assertEqual(etree.parse(path).getroot().get("k"), value, name)
            values[name] = value
            operations += [("new",), ("load-file", windows(path)), ("get-string", ".", "k", "none"),
                           ("get-text", ".", "none"), ("set-value", ".", "added", TEXT),
                           ("save", windows(path + ".saved"))]
        results = self.run_whole("encoded", operations)
        for number, (name, value) in enumerate(values.items()):
            _, loaded, attribute, text, added, saved = results[6 * number:6 * number + 6]
            self.assertEqual((loaded, added, saved), (("1",), ("1",), ("1",)), name)
            self.assertEqual((attribute[0], text[1]), (value, value.strip()), name)
            self.assertIn(f"{value}|{value}|{value}|{TEXT}", self.readings(number), name)
            if name.startswith(("UTF-8", "ASCII")):
                subprocess.run(["xmllint", "--noout", self.path(f"encoded{number}.saved")], check=True)

    def readings(self, number):
        """What is read from a saved document: as it declares itself, or as UTF-8.

        Wine's DOM writes UTF-8 whatever is declared (docs/xml.md).
        """
        for encoding in (None, "utf-8"):
            try:
                parser = etree.XMLParser(encoding=encoding)
                root = etree.parse(self.path(f"encoded{number}.saved"), parser).getroot()
            except etree.XMLSyntaxError:
                continue
            yield f"{root.get('k')}|{root.text}|{root[0].text}|{root.get('added')}"

    # ---- Malformed documents ---------------------------------------------------------------------

    def test_malformed_documents_are_refused(self):
        operations, kinds = [], []
        for number, (kind, document) in enumerate(MALFORMED.items()):
            data = document if isinstance(document, bytes) else document.encode()
            path = self.path(f"malformed{number}", data)
            lint = subprocess.run(["xmllint", "--noout", "--nonet", path], check=False,
                                  stderr=subprocess.DEVNULL)
            self.assertNotEqual(lint.returncode, 0, f"xmllint takes {kind}")
            loads = [("load-file", windows(path))]
            if isinstance(document, str):
                loads.append(("load", document))
            for load in loads:
                operations += [("load", "<open/>"), load, ("is-open",), ("xml",)]
                kinds.append((kind, load[0]))
        results = self.run_whole("malformed", operations)
        taken = [kind for i, kind in enumerate(kinds)
                 if results[4 * i:4 * i + 4] != [("1",), ("0",), ("0",), ("0", "")]]
        self.assertEqual(taken, [])
        self.assertGreaterEqual(len(MALFORMED), 30)

    # ---- What a document refers to ---------------------------------------------------------------

    def test_references_are_the_platforms_to_follow(self):
        connections = []
        server = socket.create_server(("127.0.0.1", 0))

        def count():
            while True:
                try:
                    connections.append(server.accept()[0].close())
                except OSError:
                    return

        threading.Thread(target=count, daemon=True).start()
        address = f"http://127.0.0.1:{server.getsockname()[1]}/x"
        self.path("text.txt", b"EXTERNAL")
        self.path("type.dtd", b'<!ENTITY e "FROM DTD">')
        documents = {
            "a type by a file": '<!DOCTYPE a SYSTEM "type.dtd"><a>x</a>',
            "a type by an address": f'<!DOCTYPE a SYSTEM "{address}"><a>x</a>',
            "an entity by a file": '<!DOCTYPE a [<!ENTITY e SYSTEM "text.txt">]><a>[&e;]</a>',
            "an entity by an address": f'<!DOCTYPE a [<!ENTITY e SYSTEM "{address}">]><a>[&e;]</a>',
            "an entity of its own": '<!DOCTYPE a [<!ENTITY e "own">]><a>[&e;]</a>',
            "a default value": '<!DOCTYPE a [<!ATTLIST a k CDATA "default">]><a>x</a>',
            "what breaks its own type": "<!DOCTYPE a [<!ELEMENT a EMPTY>]><a><b/>x</a>",
        }
        for number, (kind, text) in enumerate(documents.items()):
            path = windows(self.path(f"referring{number}", text.encode()))
            _, found = self.run_whole("found", [("load-file", path), ("details",)])
            by_class = len(connections)
            wanted, = self.run_whole("wanted", [("platform-details", path)])
            self.assertEqual(found, wanted, kind)
            self.assertEqual(by_class, len(connections) - by_class, kind)
            connections.clear()
        server.close()

    def test_entities_that_multiply_do_no_harm(self):
        entities = '<!ENTITY e0 "0123456789">' + "".join(
            f'<!ENTITY e{i} "{f"&e{i - 1};" * 10}">' for i in range(1, 10))
        document = f"<!DOCTYPE a [{entities}]><a>&e9;</a>"
        loaded, is_open = self.run_whole("multiply", [("load", document), ("is-open",)])
        # Whether it is refused is the platform's decision.
        self.assertEqual(loaded, is_open)

    # ---- Size ------------------------------------------------------------------------------------

    def large_document(self, name, count, text):
        """Of count blocks with a text each."""
        path = self.path(name)
        with open(path, "w", encoding="ascii") as file:
            file.write("<root>")
            for number in range(count):
                file.write(f'<block{number} n="{number}"><data>{text}</data></block{number}>\n')
            file.write("</root>")
        return path

    def test_a_document_of_50_megabytes(self):
        count, text = 500, "0123456789" * 10000
        path, saved = self.large_document("large.xml", count, text), self.path("large-saved.xml")
        self.assertGreater(os.path.getsize(path), 50e6)
        last = f"block{count - 1}"
        operations = [("load-file", windows(path)), ("get-number", last, "n", "-1"),
                      ("get-text", last + "/data", ""), ("set-text", "block7/data", "short"),
                      ("set-value", last, "n", "edited"), ("save", windows(saved)),
                      ("load", "<small/>")]
        loaded, number, found, *rest = self.run_whole("large", operations)
        self.assertEqual((loaded, number, found), (("1",), (str(count - 1),), (str(len(text)), text)))
        self.assertEqual(rest, [("1",)] * 4)
        root = etree.parse(saved, PARSER).getroot()
        self.assertEqual((len(root), root[7][0].text, root[-1].get("n")), (count, "short", "edited"))
        self.assertTrue(all(block[0].text == text for block in root if block.tag != "block7"))
        os.remove(path)
        os.remove(saved)

    def test_the_text_of_a_large_document(self):
        path = self.large_document("measured.xml", 100, "x" * 50000)
        _, length, (count, text) = self.run_whole(
            "measured", [("load-file", windows(path)), ("length",), ("xml",)])
        self.assertEqual((length, int(count)), ((count,), len(text)))
        self.assertEqual(canonical(etree.fromstring(text).getroottree()), tree(path))

    def test_large_texts_are_taken_or_refused(self):
        # Whether such a text is refused is the platform's decision.
        path = self.path("text.xml", b"<a>" + b"x" * 12000000 + b"</a>")
        with open(path, encoding="ascii") as file:
            by_text = ("load", file.read())
        for name, load in (("file", ("load-file", windows(path))), ("text", by_text)):
            loaded, is_open, text, _ = self.run_whole(
                "text", [load, ("is-open",), ("get-text", "/any/", "none"), ("load", "<small/>")])
            self.assertEqual(loaded, is_open, name)
            self.assertEqual(text[0], "12000000" if loaded == ("1",) else "0", name)

    # ---- Depth -----------------------------------------------------------------------------------

    def test_nested_documents_are_loaded_and_saved(self):
        depth, saved = 250, self.path("nested.xml")
        document = "<a>" * depth + "x" + "</a>" * depth
        results = self.run_whole("nested", [("load", document), ("get-text", "/a", ""),
                                            ("get-text", "/".join(["a"] * (depth - 1)), ""),
                                            ("save", windows(saved))])
        self.assertEqual(results, [("1",), ("1", "x"), ("1", "x"), ("1",)])
        self.assertEqual(tree(saved), document.encode())

    def test_documents_of_any_depth_are_loaded_or_refused(self):
        for depth in (1000, 100000):
            document = "<a>" * depth + "</a>" * depth
            loaded, is_open, _ = self.run_whole(
                "deep", [("load", document), ("is-open",), ("load", "<small/>")])
            self.assertEqual(loaded, is_open)

    def test_keys_grow_nested_documents(self):
        depth, saved = 3000, self.path("grown.xml")
        key = "/".join(["a"] * (depth - 1))
        results = self.run_whole(
            "grown", [("load", "<a/>"), ("set-text", key, "x"), ("get-text", key, ""),
                      ("get-text", "/a", ""), ("length",), ("save", windows(saved)), ("load", "<a/>")])
        self.assertEqual(results[1:4] + results[5:], [("1",), ("1", "x"), ("1", "x"), ("1",), ("1",)])
        text = "<a>" * depth + "x" + "</a>" * depth
        self.assertEqual(tree(saved), text.encode())

    def test_keys_of_any_depth_are_followed_or_refused(self):
        key = "/".join(["a"] * 12000)
        loaded, grown, found, _ = self.run_whole(
            "key", [("load", "<a/>"), ("set-value", key, "k", "v"), ("get-string", key, "k", ""),
                    ("load", "<a/>")])
        self.assertEqual(loaded, ("1",))
        self.assertIn((grown[0], found[0]), [("1", "v"), ("error", "error")])


if __name__ == "__main__":
    XmlFiles.program = Program(sys.argv[1], sys.argv[2:])
    unittest.main(argv=sys.argv[:1])
