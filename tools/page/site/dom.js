// Elements, made without markup: what came over the wire is text and stays text.

function fill(element, attributes, children) {
  for (const [name, value] of Object.entries(attributes)) {
    if (value === undefined || value === null || value === false) continue;
    if (name.startsWith("on")) element.addEventListener(name.slice(2), value);
    else if (name === "value") element.value = value;
    else if (name === "checked") element.checked = value;
    else element.setAttribute(name, value === true ? "" : String(value));
  }
  element.append(...children.flat().filter((child) => child !== null && child !== undefined));
  return element;
}

export function h(tag, attributes = {}, ...children) {
  return fill(document.createElement(tag), attributes, children);
}

export function s(tag, attributes = {}, ...children) {
  return fill(document.createElementNS("http://www.w3.org/2000/svg", tag), attributes, children);
}

export function byId(id) {
  return document.getElementById(id);
}

// Sets what is different only: a screen reader tells what changed.
export function setText(element, text) {
  if (element.textContent !== text) element.textContent = text;
}

export function plural(count, one, many = `${one}s`) {
  return `${count.toLocaleString("en")} ${count === 1 ? one : many}`;
}

// Does what is to be done to the document once a frame, however often it is asked.
export function oncePerFrame(action) {
  let isDue = false;
  return () => {
    if (isDue) return;
    isDue = true;
    requestAnimationFrame(() => {
      isDue = false;
      action();
    });
  };
}
