// JSON text as lines, each with the path of what stands on it: laid out anew, but with every number, escape and double key
// exactly as it came, which a parsed value could not show.

const blank = /\s*/y;
const scalar = /"(?:[^"\\]|\\.)*"|[^\s,\]}]+/y;

const escaped = (key) => key.replaceAll('~', '~0').replaceAll('/', '~1');

class Reader {
  constructor(text) {
    this.text = text;
    this.at = 0;
    this.lines = [];
  }

  take(pattern) {
    pattern.lastIndex = this.at;
    const [token] = pattern.exec(this.text) ?? [''];
    this.at += token.length;
    return token;
  }

  peek() {
    this.take(blank);
    return this.text[this.at];
  }

  /** Reads a value and writes its lines. `start`: what stands before it on its first line. */
  value(path, depth, start) {
    const opening = this.peek();
    if (opening !== '{' && opening !== '[') {
      this.lines.push({depth, path, ...start, token: this.take(scalar)});
      return;
    }
    const closing = opening === '{' ? '}' : ']';
    const first = {depth, path, ...start, token: opening};
    this.lines.push(first);
    this.at++;
    for (let index = 0; this.at < this.text.length && this.peek() !== closing; index++) {
      let key = null;
      if (opening === '{') {
        key = this.take(scalar);
        this.peek();
        this.at++;  // the colon
      }
      const name = key === null ? String(index) : JSON.parse(key);
      this.value(`${path}/${escaped(name)}`, depth + 1, {key});
      if (this.peek() === ',') {
        this.lines[this.lines.length - 1].comma = true;
        this.at++;
      }
    }
    this.at++;
    if (this.lines[this.lines.length - 1] === first) first.token = opening + closing;
    else this.lines.push({depth, path, token: closing, closes: true});
  }
}

/** `text` must be JSON. Lines are {depth, path, key, token, comma, closes}: `key` and `token` as they stand in the text. */
export function jsonLines(text) {
  const reader = new Reader(text);
  reader.value('', 0, {});
  return reader.lines;
}

/** The text of lines. */
export function jsonText(lines) {
  return lines.map(({depth, key, token, comma}) => `${'  '.repeat(depth)}${key == null ? '' : `${key}: `}${token}${comma ? ',' : ''}`).join('\n');
}

/** The lines of what stands at `path`, with paths and depths from there on. */
export function linesAt(lines, path) {
  const inside = lines.filter((line) => line.path === path || line.path.startsWith(`${path}/`));
  const outer = inside[0]?.depth ?? 0;
  return inside.map((line, index) => ({...line, path: line.path.slice(path.length), depth: line.depth - outer,
    key: index === 0 ? null : line.key, comma: line.depth === outer ? false : line.comma}));
}
