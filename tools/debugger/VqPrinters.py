"""Shows the library's types in gdb as what they mean.

    (gdb) print take
    $1 = "Harbour" (shared by 2, capacity 8)
    (gdb) print settings
    $2 = VqIniFile L"clips.ini" (1 section, case-insensitive) = {["Video"] = {"Height" '=' "1080"}}

It is installed beside libVq under the name that gdb looks for when it loads the library; `source
VqPrinters.py` does the same by hand.

Everything here reads memory and calls nothing in the program, so it works on core files too. Memory
that cannot be an object of its type is shown as <not readable>, with the reason where there is one.
`print /r` shows the fields as they are; `disable pretty-printer` and `disable xmethod` turn it off.
"""

import re

import gdb
import gdb.printing
import gdb.xmethod

NOT_READABLE = '<not readable>'


class Unreadable(Exception):
    """Says why memory is no object of its type."""


def attempt(read):
    """What `read` gives, or why it gives nothing. No exception leaves this."""
    try:
        return read()
    except Unreadable as reason:
        return '<not readable: {}>'.format(reason)
    except Exception:  # no such memory; no such field, in another version of the library
        return NOT_READABLE


class Printer:
    """What gdb shows of a value: the `title` of a derived class."""

    def __init__(self, value):
        self.value = value

    def to_string(self):
        if not plain_type(self.value).fields():
            return '<incomplete type>'  # as gdb says where it does not ask the printers
        return attempt(self.title)


class PrinterOfParts(Printer):
    """The same of a value with parts: pairs of a name and a value. They end where memory does."""

    def display_hint(self):
        return None

    def children(self):
        try:
            self.title()
        except Exception:
            return  # as the title says
        try:
            for part in self.parts():
                yield part
        except Exception:
            yield '...', NOT_READABLE
            if self.display_hint() == 'map':
                yield '...', '...'


def counted(number, noun):
    return '{} {}{}'.format(number, noun, '' if number == 1 else 's')


def sharing(owners):
    if owners < 1:
        raise Unreadable('{} owners'.format(owners))
    return 'sole owner' if owners == 1 else 'shared by {}'.format(owners)


def element_limit():
    """What `set print elements` or the command's own -elements says; 0 is no limit."""
    if hasattr(gdb, 'print_options'):  # since gdb 13
        return gdb.print_options().get('max_elements', 200)
    return gdb.parameter('print elements') or 0


def most_elements(kind):
    """How many elements of a type gdb takes into one value."""
    largest = gdb.parameter('max-value-size')
    return max(1, largest // kind.sizeof) if largest and largest > 0 else 1 << 31


def array_at(pointer, count):
    """The `count` elements from `pointer` on as one value, to which gdb applies its limits."""
    kind = pointer.type.strip_typedefs().target()
    return pointer.cast(kind.array(count - 1).pointer()).dereference()


def value_at(address, kind):
    return gdb.Value(address).cast(kind.pointer()).dereference()


def require_memory(address, size):
    """Raises unless the first and the last of these bytes are there."""
    for place in (address, address + size - 1):
        gdb.selected_inferior().read_memory(place, 1)


def plain_type(value):
    kind = value.type
    if kind.code in (gdb.TYPE_CODE_REF, gdb.TYPE_CODE_RVALUE_REF):
        kind = kind.target()
    return kind.strip_typedefs().unqualified()


# --- Strings

class Text:
    """What a LightweightString holds."""

    def __init__(self, string):
        self.character = plain_type(string).template_argument(0)
        self.length = self.capacity = self.owners = 0
        block = string['block_']['object_']
        if not block:
            return
        self.characters = block['characters_']
        self.length = int(block['length_'])
        self.capacity = int(block['capacity_'])
        self.owners = int(block['count_'])
        if self.length >= self.capacity:
            raise Unreadable('length {}, capacity {}'.format(self.length, self.capacity))

    def quoted(self):
        """As gdb quotes an array of these characters. No more is read than its limits let show."""
        if self.length == 0:
            return 'L""' if self.character.name == 'wchar_t' else '""'
        limit = min(element_limit() or self.length, most_elements(self.character) - 1)
        if self.length > limit:
            return self.formatted(limit) + '...'
        # gdb leaves out one zero character at the end of an array: here the terminator.
        shown = self.formatted(self.length + 1)
        return shown if shown.endswith(('"', '>')) else self.formatted(self.length)  # of print/x

    def formatted(self, count):
        value = array_at(self.characters, count)
        value.fetch_lazy()  # raises where printing would put the error among the characters
        return value.format_string(max_elements=0)

    def quoted_character(self, index):
        shown = (self.characters + index).dereference().format_string(format='c')
        return shown.split(' ', 1)[1]  # behind its number


class StringPrinter(Printer):
    """LightweightString: the text, who shares it, and the block's slots with the terminator's.

    There is no display hint, because gdb would quote what is said about the text as well.
    """

    def title(self):
        text = Text(self.value)
        if text.capacity == 0:
            return text.quoted()
        return '{} ({}, capacity {})'.format(text.quoted(), sharing(text.owners), text.capacity)


# --- Handles

def whole_object(pointer):
    """The name of the type that an object was made as, and a pointer to the whole of it if gdb
    knows that type. Both come from the table of virtual functions, whose address begins an object
    that has one: gdb's own way wants the type's base classes, and complains where it knows only
    the name."""
    kind = pointer.type.strip_typedefs().target().strip_typedefs().unqualified()
    try:
        word = gdb.lookup_type('long')
        table = pointer.cast(word.pointer().pointer()).dereference()
        # As text this also holds the command itself while `set trace-commands` is on.
        text = gdb.execute('info symbol {}'.format(int(table)), to_string=True)
        name = re.search(r'^vtable for (.+) \+ \d+ in section', text, re.MULTILINE).group(1)
        offset_to_top = int((table - 2).dereference())
    except (gdb.error, AttributeError):
        return str(kind), pointer
    try:
        whole = gdb.lookup_type(name)
    except gdb.error:
        return name, pointer
    return name, gdb.Value(int(pointer) + offset_to_top).cast(whole.pointer())


class PtrPrinter(PrinterOfParts):
    """Vq::Ptr: the type that its object was made as, the count, and a pointer to the object."""

    COUNTERS = {
        'Vq::InternalRefCountTraits': 'internal count',
        'Vq::ExternalRefCountTraits': 'external count',
    }

    def title(self):
        if not self.value['object_']:
            return 'Vq::Ptr, empty'
        counting = plain_type(self.value).template_argument(2).name
        name, _ = self.whole_object()
        count = int(self.value['counter_'].dereference())
        return 'Vq::Ptr to {} ({} {})'.format(name, self.COUNTERS.get(counting, 'count'), count)

    def parts(self):
        if self.value['object_']:
            yield 'object', self.whole_object()[1]

    def whole_object(self):
        pointer = self.value['object_']
        require_memory(int(pointer), 1)
        return whole_object(pointer)


# --- Identifiers

class UuidPrinter(Printer):
    """Vq::UUID: as `asString` prints it."""

    def title(self):
        words = self.value['words_']
        digits = b''.join(int(words[i]).to_bytes(8, 'little') for i in range(2)).hex()
        ends = (0, 8, 12, 16, 20, 32)
        text = '-'.join(digits[begin:end] for begin, end in zip(ends, ends[1:]))
        return text if digits.strip('0') else text + ' (invalid)'


# --- Pairs and lists

class PairPrinter(Printer):
    """Vq::AttribValuePair: name, separator and value, or what else there is."""

    TEXT_AND_PARTS, TEXT_ONLY, PARTS_ONLY = range(3)

    def title(self):
        form = int(self.value['form_'])
        if form == self.TEXT_AND_PARTS:
            return self.text_and_parts()
        if form == self.TEXT_ONLY:
            return '{} (not split)'.format(self.text('text_').quoted())
        if form == self.PARTS_ONLY:
            name, value = self.text('name_'), self.text('value_')
            return '{} {} (no text)'.format(name.quoted(), value.quoted())
        raise Unreadable('form {}'.format(form))

    def text_and_parts(self):
        text, name, value = self.text('text_'), self.text('name_'), self.text('value_')
        if name.length == value.length == 0:
            suffix = ' (neither name nor value)' if text.length else ' (empty)'
            return text.quoted() + suffix
        between = text.length - name.length - value.length
        if between == 0:
            return '{} {} (no separator)'.format(name.quoted(), value.quoted())
        if between != 1:
            raise Unreadable('its text is not that of its parts')
        return ' '.join((name.quoted(), text.quoted_character(name.length), value.quoted()))

    def text(self, field):
        return Text(self.value[field])


class Elements:
    """What a std::vector holds. No printers of the standard library are needed."""

    def __init__(self, vector):
        fields = vector['_M_impl']
        self.start = fields['_M_start']
        self.kind = self.start.type.strip_typedefs().target()
        used = int(fields['_M_finish']) - int(self.start)
        room = int(fields['_M_end_of_storage']) - int(self.start)
        if used < 0 or used > room or used % self.kind.sizeof:
            raise Unreadable('no vector')
        if used:
            require_memory(int(self.start), used)
        self.count = used // self.kind.sizeof

    def __getitem__(self, index):
        return (self.start + index).dereference()

    def __iter__(self):
        return (self[i] for i in range(self.count))

    def array(self):
        """All in one value, but not many more than gdb is going to show."""
        if self.count == 0:
            return '{}'
        shown = min(self.count, element_limit() + 1) if element_limit() else self.count
        if shown > most_elements(self.kind):
            raise Unreadable('{} elements are beyond max-value-size'.format(shown))
        return array_at(self.start, shown)


class ListPrinter(PrinterOfParts):
    """LightweightVector: how many elements, how many lists share them, and the elements."""

    def title(self):
        owners = sharing(int(self.value['elements_']['counter_'].dereference()))
        if self.holds_bits():
            return 'LightweightVector ({})'.format(owners)
        return 'LightweightVector of {} ({})'.format(Elements(self.vector()).count, owners)

    def parts(self):
        if self.holds_bits():  # the standard library's printers can show them
            return [('elements', self.vector())]
        return (('[{}]'.format(i), value) for i, value in enumerate(Elements(self.vector())))

    def display_hint(self):
        return 'array'

    def vector(self):
        return self.value['elements_']['object_'].dereference()

    def holds_bits(self):
        return plain_type(self.value).template_argument(0).code == gdb.TYPE_CODE_BOOL


# --- Settings

class Entries:
    """What a std::map holds, in its order. No printers of the standard library are needed."""

    # More levels than a tree of 2^62 nodes has: a walk beyond is in no tree.
    LEVELS = 128

    def __init__(self, entries):
        self.kinds = [plain_type(entries).template_argument(i) for i in range(2)]
        fields = entries['_M_t']['_M_impl']
        header = fields['_M_header']
        self.header_size = header.type.sizeof
        self.count = int(fields['_M_node_count'])
        self.first = header['_M_left']
        root = header['_M_parent']
        is_tree = root['_M_parent'] == header.address if root else self.count == 0
        if not is_tree or not self.first:
            raise Unreadable('no map')

    def __iter__(self):
        node = self.first
        for index in range(self.count):
            if index:
                node = self.following(node)
            key = int(node) + self.header_size
            yield (value_at(key, self.kinds[0]),
                   value_at(key + self.kinds[0].sizeof, self.kinds[1]))

    def following(self, node):
        if node['_M_right']:
            node = node['_M_right']
            for _ in range(self.LEVELS):
                if not node['_M_left']:
                    return node
                node = node['_M_left']
        for _ in range(self.LEVELS):
            parent = node['_M_parent']
            if parent['_M_left'] == node:
                return parent
            node = parent
        raise Unreadable('no map')


class SettingsPrinter(PrinterOfParts):
    """VqIniFile: its path, and each section's name with its pairs."""

    def title(self):
        path = Text(self.value['path_'])
        case = int(self.value['caseSensitive_'])
        if case not in (0, 1):
            raise Unreadable('no flag')
        return 'VqIniFile {} ({}, case-{})'.format(
            path.quoted() if path.length else 'without path',
            counted(Entries(self.value['sections_']).count, 'section'),
            'sensitive' if case else 'insensitive')

    def parts(self):
        for name, pairs in Entries(self.value['sections_']):
            yield 'name', attempt(lambda: Text(name).quoted())
            yield 'pairs', attempt(lambda: Elements(pairs).array())

    def display_hint(self):
        return 'map'


# --- Locks

class LockStatePrinter(Printer):
    """CriticalSection::Rep, which the copies of a lock share: its name, and who holds it."""

    def title(self):
        return self.state('CriticalSection::Rep', self.value)

    @staticmethod
    def state(title, rep):
        name = Text(rep['name_'])
        depth, owner = int(rep['lockCount_']), int(rep['owner_'])
        if name.length:
            title = '{} {}'.format(title, name.quoted())
        if depth == owner == 0:
            return title + ', free'
        holder = 'thread id {}'.format(owner)
        for thread in gdb.selected_inferior().threads():
            if thread.ptid[1] == owner:
                holder = 'thread {} (LWP {})'.format(thread.num, owner)
        return '{}, held by {} at depth {}'.format(title, holder, depth)


class LockPrinter(Printer):
    """CriticalSection: the same."""

    def title(self):
        rep = self.value['rep_']['object_']
        if not rep:
            return 'CriticalSection without a lock'
        return LockStatePrinter.state('CriticalSection', rep.dereference())


class GatePrinter(Printer):
    """Vq::LockFree::RWLock: who is inside."""

    def title(self):
        readers = int(self.value['half_']['readers_'])
        writers = int(self.value['half_']['writers_'])
        if readers == writers == 0:
            return 'RWLock, free'
        if writers == 0 and readers > 0:
            return 'RWLock, ' + counted(readers, 'reader')
        if readers == 0 and writers == 1:
            return 'RWLock, 1 writer'
        return 'RWLock, unbalanced: {}, {}'.format(counted(readers, 'reader'),
                                                   counted(writers, 'writer'))


# --- Methods

def of_block(field):
    def read(string):
        block = string['block_']['object_']
        return block[field] if block else 0
    return read


def elements(values):
    return Elements(values['elements_']['object_'].dereference())


# What expressions may call although nothing in the program is called: the type, the name, the
# result, the types of arguments.
METHODS = (
    ('LightweightString<.*>', 'length|size', of_block('length_')),
    ('LightweightString<.*>', 'capacity', of_block('capacity_')),
    ('LightweightString<.*>', 'useCount', of_block('count_')),
    ('LightweightString<.*>', 'empty', lambda string: not string['block_']['object_']),
    ('Vq::Ptr<.*>', 'get|operator->', lambda handle: handle['object_']),
    ('Vq::Ptr<.*>', r'operator\*', lambda handle: handle['object_'].dereference()),
    ('Vq::Ptr<.*>', 'useCount',
     lambda handle: handle['counter_'].dereference() if handle['object_'] else 0),
    ('Vq::AttribValuePair', 'name', lambda pair: pair['name_']),
    ('Vq::AttribValuePair', 'value', lambda pair: pair['value_']),
    ('LightweightVector<.*>', 'size', lambda values: elements(values).count),
    ('LightweightVector<.*>', r'operator\[\]', lambda values, index: elements(values)[int(index)],
     'unsigned long'),
)


# --- Registration

PRINTERS = (
    ('LightweightString', 'LightweightString<(char|wchar_t)>', StringPrinter),
    ('Vq::Ptr', 'Vq::Ptr<.*>', PtrPrinter),
    ('Vq::UUID', 'Vq::UUID', UuidPrinter),
    ('Vq::AttribValuePair', 'Vq::AttribValuePair', PairPrinter),
    ('LightweightVector', 'LightweightVector<.*>', ListPrinter),
    ('VqIniFile', 'VqIniFile', SettingsPrinter),
    ('CriticalSection', 'CriticalSection', LockPrinter),
    ('CriticalSection::Rep', 'CriticalSection::Rep', LockStatePrinter),
    ('Vq::LockFree::RWLock', 'Vq::LockFree::RWLock', GatePrinter),
)


def register(objfile):
    """For as long as gdb has this library loaded, or for good where `objfile` is None."""
    printers = gdb.printing.RegexpCollectionPrettyPrinter('libVq')
    for name, kind, printer in PRINTERS:
        printers.add_printer(name, '^{}$'.format(kind), printer)
    gdb.printing.register_pretty_printer(objfile, printers, replace=True)
    for kind, name, result, *arguments in METHODS:
        label = 'libVq {}::{}'.format(kind.split('<')[0], name.replace('\\', ''))
        matcher = gdb.xmethod.SimpleXMethodMatcher(
            label, '^{}$'.format(kind), '^({})$'.format(name), result,
            *[gdb.lookup_type(argument) for argument in arguments])
        gdb.xmethod.register_xmethod_matcher(objfile, matcher, replace=True)


register(gdb.current_objfile())
