// Values in an object by JSON Pointer.

const keysOf = (path) => path.split('/').slice(1).map((key) => key.replaceAll('~1', '/').replaceAll('~0', '~'));

export function valueAt(object, path) {
  return keysOf(path).reduce((inner, key) => inner?.[key], object);
}

/** Sets what stands at `path`, with the objects around it; `undefined` takes it away. */
export function setAt(object, path, value) {
  const keys = keysOf(path);
  const last = keys.pop();
  let inner = object;
  for (const key of keys) {
    if (typeof inner[key] !== 'object' || inner[key] === null) {
      if (value === undefined) return;
      inner[key] = {};
    }
    inner = inner[key];
  }
  if (value === undefined) delete inner[last];
  else inner[last] = value;
}
