"""What the operations on an XML document mean, written down once more on top of lxml.

The tree is lxml's, so that its XPath finds the elements. As lxml has no text nodes, processing
instructions named TEXT and CDATA stand for them; a wrapper stands for the document itself, which
may be without a document element.
"""
import re

from lxml import etree

TEXT, CDATA = "text-node", "cdata-node"
BLANKS = " \t\r\n"
# The system's own, through which a tag name goes; Wine's is this one.
ANSI = "cp1252"
NAMES = {TEXT: "#text", CDATA: "#cdata-section"}


class Failure(Exception):
    """The call is to throw."""


def units(text):
    """The length of a text in UTF-16."""
    return len(text.encode("utf-16-le")) // 2


def is_element(node):
    return isinstance(node.tag, str)


def is_text(node):
    return node.tag is etree.PI and node.target in NAMES


def node_name(node):
    if is_element(node):
        return node.tag
    if node.tag is etree.Comment:
        return "#comment"
    return NAMES.get(node.target, node.target)


def text_node(text, kind=TEXT):
    node = etree.PI(kind, "")
    node.text = text
    return node


class Text:
    """The text of an element. Between the elements within it a reader may put white space."""

    def __init__(self, element):
        self.text = "".join(node.text for node in element.iter(etree.PI) if is_text(node))
        self.has_elements = any(is_element(node) for node in element)

    def agrees_with(self, text):
        if self.has_elements:
            return "".join(text.split()) == "".join(self.text.split())
        return text == self.text.strip(BLANKS)


def to_int(text):
    match = re.match(r"[ \t\r\n\v\f]*([+-]?[0-9]+)", text)
    return int(match.group(1)) if match else 0


class Model:
    def __init__(self):
        self.document = None
        self.is_open = False
        self.selection = None
        self.selected_from = None

    # ---- Lookups ---------------------------------------------------------------------------------

    @staticmethod
    def append(parent, name):
        return etree.SubElement(parent, name)

    def has_root(self):
        return self.is_open and any(is_element(node) for node in self.document)

    def below_root(self):
        return list(self.root().iterdescendants(etree.Element)) if self.has_root() else []

    def root(self):
        for node in self.document:
            if is_element(node):
                return node
        return self.append(self.document, "root")

    def select_all(self, context, path):
        if path == "/":
            return [self.document]
        if path.startswith("/"):
            context, path = self.document, "." + path
        try:
            found = context.xpath(path)
        except etree.XPathEvalError as error:
            raise Failure(path) from error
        if not isinstance(found, list):
            raise Failure(path)
        return found

    def select(self, context, path):
        """The first node, if it is an element."""
        found = self.select_all(context, path)[:1]
        for node in found:
            if node is not self.document and hasattr(node, "tag") and is_element(node):
                return node
        return None

    def find(self, key, create):
        if not self.is_open:
            return None
        root = self.root()
        if key.startswith("/") and "/" in key[1:]:
            key = key[1:].partition("/")[2]
        if not key:
            return root
        found = self.select(root, key)
        if found is None and create:
            current = root
            for name in filter(None, key.split("/")):
                there = self.select(current, name)
                current = self.append(current, name) if there is None else there
            found = self.select(root, key)
        return found

    # ---- Values and texts ------------------------------------------------------------------------

    def attribute(self, key, name):
        element = self.find(key, False) if key and name else None
        return None if element is None else element.get(name)

    def get_value(self, key, name, default):
        value = self.attribute(key, name)
        return (0, default) if value is None else (units(value), value)

    def get_string(self, key, name, default):
        return (self.get_value(key, name, default)[1],)

    def get_number(self, key, name, default):
        value = self.attribute(key, name)
        return (to_int(value) if value else int(default),)

    def set_value(self, key, name, value):
        element = self.find(key, True) if name else None
        if element is None:
            return (0,)
        element.set(name, value)
        return (1,)

    def set_number(self, key, name, number):
        return self.set_value(key, name, str(int(number)))

    def get_text(self, key, default):
        element = self.find(key, True) if key else None
        if element is None:
            return 0, default
        return Text(element)

    def set_text(self, key, text):
        element = self.find(key, True) if key else None
        if element is None:
            return (0,)
        element[:] = [text_node(text)] if text else []
        return (1,)

    def takes_selection_away(self, key):
        """Whether a text written here replaces elements that the selection holds on to.

        Wine frees them nevertheless (docs/xml.md), and whatever happens then is no result.
        """
        if not self.has_root():
            return False
        try:
            target = self.find(key, False)
        except Failure:
            return False
        held = [] if self.selection is None else [self.selected_from, *self.selection]
        return target is not None and any(target in node.iterancestors() for node in held)

    # ---- Structure -------------------------------------------------------------------------------

    def add(self, key, name):
        if not name:
            return (0,)
        return (int(self.find(f"{key}/{name}" if key else name, True) is not None),)

    def remove(self, key, name):
        parent = self.find(key, False) if key and name else None
        child = None if parent is None else self.select(parent, name)
        if child is None:
            return (0,)
        if child.getparent() is not parent:
            raise Failure(name)
        parent.remove(child)
        return (1,)

    def rename(self, key, old_name, new_name):
        parent = self.find(key, False) if key and old_name and new_name else None
        if parent is None:
            return (0,)
        self.remove(key, new_name)
        self.add(key, new_name)
        old, new = self.select(parent, old_name), self.select(parent, new_name)
        if old is not None and new is not None:
            for name, value in old.attrib.items():
                new.set(name, value)
            # The name is looked up for every child. Children of the new element would never end.
            while old is not None and old is not new and len(old) and is_element(old[0]):
                new.append(old[0])
                old = self.select(parent, old_name)
        self.remove(key, old_name)
        return (1,)

    # ---- Lists -----------------------------------------------------------------------------------

    def child_keys(self, key, *before):
        if not key:
            return (0, *before)
        element = self.find(key, False)
        names = [] if element is None else [node_name(node) for node in element]
        return (len(before) + len(names), *before, *names)

    def select_children(self, key):
        element = self.find(key, True) if key else None
        if element is None:
            return (0,)
        self.selected_from = element
        self.selection = [node for node in element if is_element(node)]
        return (len(self.selection),)

    def selected(self, index, name):
        index = int(index)
        nothing = (0, "", "untouched")
        if not self.is_open or index < 0:
            return nothing
        if self.selection is None or index == len(self.selection):
            raise Failure(index)
        if index > len(self.selection):
            return nothing
        value = self.selection[index].get(name, "")
        tag = self.selection[index].tag.encode(ANSI, "replace").decode(ANSI)
        return units(value), value, tag

    def nodes(self, expression, name, default):
        if not self.is_open:
            return ("null",)
        found = self.select_all(self.document, expression)
        return (len(found), *(node.get(name, default) for node in found))

    # ---- The document ----------------------------------------------------------------------------

    def load(self, document):
        """None: a text that is not well-formed."""
        self.is_open = document is not None
        self.document = document
        return (int(self.is_open),)

    def close(self):
        self.is_open = False
        return (1,)

    def remove_root(self):
        self.document.remove(self.root())
        return (1,)


# ---- Comparing -----------------------------------------------------------------------------------


class Runs(list):
    """Children, with neighbouring texts joined."""

    def add_text(self, text):
        if text and self and isinstance(self[-1], str):
            self[-1] += text
        elif text:
            self.append(text)


def of_model(node):
    runs = Runs()
    for child in node:
        if is_text(child):
            runs.add_text(child.text)
        else:
            runs.append(leaf(child) or (child.tag, dict(child.attrib), of_model(child)))
    return runs


def of_lxml(node):
    runs = Runs()
    runs.add_text(node.text)
    for child in node:
        runs.append(leaf(child) or (child.tag, dict(child.attrib), of_lxml(child)))
        runs.add_text(child.tail)
    return runs


def leaf(node):
    if node.tag is etree.Comment:
        return "comment", node.text
    if node.tag is etree.PI:
        return "instruction", node.target, node.text or ""
    return None


def of_lxml_document(root):
    """A whole document, with what stands beside its document element."""
    before = reversed(list(root.itersiblings(preceding=True)))
    beside = [*before, root, *root.itersiblings()]
    return Runs(leaf(node) or (node.tag, dict(node.attrib), of_lxml(node)) for node in beside)


def without_layout(runs):
    """The same without white space around texts, which a writer may add to make lines."""
    result = Runs()
    for run in runs:
        if isinstance(run, str):
            result.add_text(run.strip(BLANKS))
        elif len(run) == 3 and isinstance(run[2], Runs):
            result.append((run[0], run[1], without_layout(run[2])))
        else:
            result.append(run)
    return result


def to_lxml(document):
    """The document of a model as lxml has any other."""
    def copy(node):
        element = etree.Element(node.tag)
        for name, value in node.attrib.items():
            element.set(name, value)
        for child in node:
            add(element, child)
        return element

    def add(element, child):
        if not is_text(child):
            element.append(copy(child) if is_element(child) else bare(child))
        elif len(element):
            element[-1].tail = (element[-1].tail or "") + child.text
        else:
            element.text = (element.text or "") + child.text

    def bare(node):
        if node.tag is etree.Comment:
            return etree.Comment(node.text)
        return etree.PI(node.target, node.text)

    nodes = list(document)
    at = next(i for i, node in enumerate(nodes) if is_element(node))
    root = copy(nodes[at])
    for node in nodes[:at]:
        root.addprevious(bare(node))
    for node in reversed(nodes[at + 1:]):
        root.addnext(bare(node))
    return root.getroottree()
