// TPila: a stack on top of a list (the top is the last item). TPilaLimitada: a
// stack of bounded depth that deletes its oldest items to make room.
#pragma once

#include <kwlib63/containers/llista.h>
#include <kwlib63/framework/export.h>

class KW_API TPila : public TLlista {
 public:
  static CMoxelRTTI m_rttiTPila;

  TPila() = default;
  TPila(const TPila* other) : TLlista(other) {}
  TPila(const TPila&) = default;
  TPila& operator=(const TPila&) = default;

  TItem* Duplicar() const override;
  CMoxelRTTI* GetRTTI() const override;

  // The virtual operations of the stack, after the list's.
  // The item becomes the top.
  virtual int push(TItem* item);
  // Deletes the top item. Not for an empty stack.
  virtual int pop();
  // Removes the top item and hands it over. Not for an empty stack.
  virtual TItem* poptop();
  // The top item, or null on an empty stack.
  virtual TItem* top() const;
};

class KW_API TPilaLimitada : public TPila {
 public:
  explicit TPilaLimitada(int limit) : m_nLimit(limit) {}

  // Deletes the oldest items while the stack is full, then pushes. Below a limit of
  // 1 the item is deleted at once.
  int push(TItem* item) override;
  // A new limit; the oldest items beyond it are deleted.
  void SetTamany(int limit);
  int GetTamany() const { return m_nLimit; }

 private:
  int m_nLimit;
};
